// A window that lists the machines and stays alive meanwhile: the worker makes all calls, and posts a message to the
// window when an answer is there. A second job is asked for every second, to show what has changed.

#include <windows.h>

#include "sample.h"

using namespace Travik;

namespace {

constexpr UINT answerIsThere = WM_APP;

struct FrontEnd
{
    Worker worker;
    HWND list = nullptr;
    std::future<std::vector<std::wstring>> answer;
};

std::vector<std::wstring> linesOf(const Operations& vbox)
{
    std::vector<std::wstring> lines;
    for (const MachineEntry& entry : listMachines(vbox))
        lines.push_back(entry.accessible ? entry.name + L" (" + stateName(entry.state) + L")" : entry.uuid);
    return lines;
}

void ask(FrontEnd& frontEnd, HWND window)
{
    if (frontEnd.answer.valid())
        return; // the last question is still open: VirtualBox takes its time, the window does not wait
    frontEnd.answer = frontEnd.worker.run([](Operations& vbox) { return linesOf(vbox); });
    frontEnd.worker.run([window](Operations&) { PostMessageW(window, answerIsThere, 0, 0); });
}

void show(FrontEnd& frontEnd)
{
    std::vector<std::wstring> lines;
    try {
        lines = frontEnd.answer.get();
    } catch (const SdkError& error) {
        const std::string what = error.what();
        lines = {L"VirtualBox does not answer: " + std::wstring(what.begin(), what.end())};
    }
    SendMessageW(frontEnd.list, LB_RESETCONTENT, 0, 0);
    for (const std::wstring& line : lines)
        SendMessageW(frontEnd.list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(line.c_str()));
    print(L"shows " + std::to_wstring(lines.size()) + L" lines");
}

LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM first, LPARAM second)
{
    FrontEnd* const frontEnd = reinterpret_cast<FrontEnd*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    switch (message) {
    case WM_TIMER:
        ask(*frontEnd, window);
        return 0;
    case answerIsThere:
        show(*frontEnd);
        return 0;
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    default:
        return DefWindowProcW(window, message, first, second);
    }
}

HWND makeWindow(FrontEnd& frontEnd)
{
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = onMessage;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"TravikMachines";
    RegisterClassW(&windowClass);
    const HWND window =
        CreateWindowExW(0, L"TravikMachines", L"Machines", WS_OVERLAPPEDWINDOW | WS_VISIBLE, CW_USEDEFAULT,
                        CW_USEDEFAULT, 480, 320, nullptr, nullptr, windowClass.hInstance, nullptr);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&frontEnd));
    frontEnd.list = CreateWindowExW(0, L"LISTBOX", L"", WS_CHILD | WS_VISIBLE, 0, 0, 460, 280, window, nullptr,
                                    windowClass.hInstance, nullptr);
    SetTimer(window, 1, 1000, nullptr);
    return window;
}

} // namespace

int wmain()
{
    GetVBoxInstance()->setLogPath(L"NUL");
    FrontEnd frontEnd;
    ask(frontEnd, makeWindow(frontEnd));
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return 0;
}
