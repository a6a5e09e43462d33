/* The frame of the fake of TravikSDK-c.dll: see make_fake_dll.py, which adds the operations. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <travik/travik.h>

static char calls[1 << 20];
static int live, notices;
static struct { char name[64]; uint32_t code, result; const char* text; } failing;

const char* fake_calls(void) { return calls; }
int fake_live(void) { return live; }
void fake_fail(const char* name, uint32_t code, uint32_t result, const char* text)
{
    snprintf(failing.name, sizeof failing.name, "%s", name);
    failing.code = code; failing.result = result; failing.text = text;
}
void fake_clear(void) { calls[0] = 0; notices = 0; }

static void noteText(const char* text) { strcat(calls, " "); strcat(calls, text ? text : "null"); }
static void noteNumber(unsigned long long value) { char text[32]; sprintf(text, " %llu", value); strcat(calls, text); }
static char* newText(const char* text) { ++live; return strdup(text); }

static uint32_t begin(const char* name, travik_error** error)
{
    strcat(calls, calls[0] ? "\n" : ""); strcat(calls, name);
    if (error) *error = NULL;
    if (strcmp(name, failing.name) != 0) return 0;
    failing.name[0] = 0;
    if (error) {
        *error = calloc(1, sizeof **error); ++live;
        (*error)->code = failing.code; (*error)->result = failing.result; (*error)->codeName = "SomeFail";
        (*error)->resultName = failing.result ? "E_SOME" : ""; (*error)->operation = name; (*error)->text = failing.text;
    }
    return failing.code;
}
uint32_t travik_open(const travik_options* options, travik_error** error)
{
    uint32_t code = begin("open", error);
    noteNumber(options->size == sizeof *options); noteNumber(options->flags); noteText(options->logPath);
    noteNumber(options->deadlineMs);
    return code;
}
uint32_t travik_close(uint32_t deadlineMs, travik_error** error) { uint32_t code = begin("close", error); noteNumber(deadlineMs); return code; }
const char* travik_version(void) { return TRAVIK_VERSION; }
const char* travik_identity(void) { return "fake"; }
const char* travik_codeName(uint32_t code) { (void)code; return "SomeFail"; }
const char* travik_resultName(uint32_t result) { (void)result; return ""; }
uint32_t travik_isServerGone(uint32_t result) { return result == TRAVIK_Result_RpcServerUnavailable; }
uint32_t travik_isLockRace(uint32_t result) { return result == TRAVIK_Result_InvalidObjectState; }
void travik_freeError(travik_error** error) { if (*error) --live; free(*error); *error = NULL; }
void travik_freeText(char** text) { if (*text) --live; free(*text); *text = NULL; }
void travik_freeTexts(travik_texts* texts)
{
    for (uint32_t i = 0; i < texts->count; ++i) travik_freeText(&texts->items[i]);
    if (texts->items) --live;
    free(texts->items); memset(texts, 0, sizeof *texts);
}
void travik_freeMachines(travik_machines* machines) { if (machines->items) --live; free(machines->items); memset(machines, 0, sizeof *machines); }
uint32_t travik_finishProgress(travik_progress progress, uint32_t deadlineMs, travik_error** error)
{ uint32_t code = begin("finishProgress", error); noteNumber(progress.value); noteNumber(deadlineMs); return code; }
uint32_t travik_lockMachineInTime(travik_machine machine, uint32_t lockType, uint32_t waitMs, uint32_t deadlineMs, travik_error** error)
{ uint32_t code = begin("lockMachineInTime", error); noteNumber(machine.value); noteNumber(lockType); noteNumber(waitMs); noteNumber(deadlineMs); return code; }
uint32_t travik_watch(travik_console console, travik_callback callback, void* context, travik_watcher* watcher, uint32_t deadlineMs, travik_error** error)
{
    uint32_t code = begin("watch", error); noteNumber(console.value); (void)callback; (void)context; (void)deadlineMs;
    if (code == 0) { watcher->value = 99; ++live; notices = 0; }
    return code;
}
uint32_t travik_unwatch(travik_watcher watcher) { begin("unwatch", NULL); noteNumber(watcher.value); --live; return 0; }
/* Nothing yet, a state, a runtime error, the end. */
uint32_t travik_nextNotice(travik_watcher watcher, uint32_t waitMs, travik_notice** notice, travik_error** error)
{
    uint32_t code = begin("nextNotice", error); (void)watcher; (void)waitMs;
    *notice = NULL;
    if (code != 0 || notices++ == 0) return code;
    *notice = calloc(1, sizeof **notice); ++live;
    (*notice)->kind = notices == 2 ? 1 : notices == 3 ? 2 : 4;
    (*notice)->state = notices == 2 ? TRAVIK_MachineState_Paused : 0; (*notice)->fatal = notices == 3;
    (*notice)->id = "DiskFull"; (*notice)->text = "\xE7\xA3\x81";
    return 0;
}
void travik_freeNotice(travik_notice** notice) { if (*notice) --live; free(*notice); *notice = NULL; }
