/* A front end in plain C, without a C runtime of its own compiler: starts, watches and stops a machine from a thread
   that did not open the library. Says what it does in lines; the last one is "done", or tells what went wrong. */
#include <travik/travik.h>

/* What it takes from Windows, declared here: clang has no headers of Windows. */
typedef void* handle;
__declspec(dllimport) handle __stdcall GetStdHandle(uint32_t);
__declspec(dllimport) int __stdcall WriteFile(handle, const void*, uint32_t, uint32_t*, void*);
__declspec(dllimport) handle
    __stdcall CreateThread(void*, size_t, uint32_t(__stdcall*)(void*), void*, uint32_t, uint32_t*);
__declspec(dllimport) uint32_t __stdcall WaitForSingleObject(handle, uint32_t);
__declspec(dllimport) void __stdcall Sleep(uint32_t);
__declspec(dllimport) void __stdcall ExitProcess(uint32_t);

#define REQUIRE(call)                                                                                                  \
    do {                                                                                                               \
        if ((call) != 0)                                                                                               \
            fail(#call);                                                                                               \
    } while (0)

static travik_error* error;
static volatile long stopping, ended;

static void say(const char* text)
{
    uint32_t length = 0, written;
    while (text[length] != 0)
        ++length;
    WriteFile(GetStdHandle((uint32_t)-11), text, length, &written, NULL);
}

static void fail(const char* call)
{
    say(call);
    if (error != NULL) {
        say(" failed: ");
        say(error->codeName);
        say(" ");
        say(error->resultName);
        say(" ");
        say(error->text);
    }
    say("\n");
    ExitProcess(1);
}

static void hear(void* context, const travik_notice* notice)
{
    (void)context;
    if (notice->kind == TRAVIK_NOTICE_STATE && notice->state == TRAVIK_MachineState_Stopping)
        stopping = 1;
    if (notice->kind == TRAVIK_NOTICE_ENDED)
        ended = 1;
}

static void await(volatile long* flag, const char* what)
{
    for (int i = 0; i < 1000 && *flag == 0; ++i)
        Sleep(10);
    if (*flag == 0)
        fail(what);
    say(what);
    say("\n");
}

static uint32_t __stdcall drive(void* context)
{
    travik_machine machine;
    travik_progress progress;
    travik_console console;
    travik_watcher watcher;
    char* name;
    (void)context;
    REQUIRE(travik_findMachine("Player", &machine, 0, &error));
    REQUIRE(travik_getVmName(machine, &name, 0, &error));
    say(name);
    say("\n");
    travik_freeText(&name);
    REQUIRE(travik_launchVMProcess(machine, "headless", NULL, 0, &progress, 0, &error));
    REQUIRE(travik_finishProgress(progress, 60000, &error));
    travik_releaseProgress(progress);
    REQUIRE(travik_getConsole(&console, 0, &error));
    REQUIRE(travik_watch(console, hear, NULL, &watcher, 0, &error));
    say("runs\n");
    REQUIRE(travik_powerDown(console, &progress, 0, &error));
    await(&stopping, "stops");
    REQUIRE(travik_finishProgress(progress, 60000, &error));
    travik_releaseProgress(progress);
    await(&ended, "ended");
    REQUIRE(travik_unwatch(watcher));
    travik_releaseConsole(console);
    travik_releaseMachine(machine);
    return 0;
}

/* The entry of a program without a C runtime. */
void start(void)
{
    travik_options options = {sizeof(travik_options), 0, "story.log", 20000, 0};
    REQUIRE(travik_open(&options, &error));
    const handle thread = CreateThread(NULL, 0, drive, NULL, 0, NULL);
    WaitForSingleObject(thread, 0xFFFFFFFFu);
    REQUIRE(travik_close(0, &error));
    say("done\n");
    ExitProcess(0);
}
