#include "model.h"

#include <filesystem>
#include <fstream>

#include "com_memory.h"
#include "names.h"

namespace TravikTest {
namespace {

std::wstring replaced(std::wstring text, const std::wstring& what, const std::wstring& by)
{
    for (std::size_t at = text.find(what); at != std::wstring::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

} // namespace

std::wstring filled(std::wstring text, const Invocation& invocation, bool asCall)
{
    for (std::size_t i = 0; i < invocation.handles.size(); ++i)
        text = replaced(text, L"{h" + std::to_wstring(i) + L"}", std::to_wstring(invocation.handles[i]));
    for (std::size_t i = 0; i < invocation.texts.size(); ++i)
        text = replaced(text, L"{t" + std::to_wstring(i) + L"}",
                        asCall ? rendered(invocation.texts[i]) : invocation.texts[i]);
    return text;
}

namespace {

/// Goes through the steps of a row and writes down what each leaves behind.
class Walk
{
public:
    Walk(std::size_t slot, const Invocation& invocation, const Deviation& deviation)
        : name_(nameOf(slot)),
          row_(rows()[slot]),
          invocation_(invocation),
          deviation_(deviation),
          arguments_(filled(row_.arguments, invocation, false))
    {}

    Expected run()
    {
        expected_.records.push_back(info(name_, arguments_));
        for (std::size_t i = 0; i < row_.steps.size() && !ended_; ++i) {
            here_ = deviation_.step == i ? deviation_.kind : Deviation::none;
            std::visit([this](const auto& step) { take(step); }, row_.steps[i]);
        }
        expected_.handsOut = !ended_;
        return std::move(expected_);
    }

private:
    void take(const FileStep& step)
    {
        const std::wstring helper = std::wstring(L"Travik::Utils::") + step.helper;
        const bool good = here_ != Deviation::fileAnswersNo;
        expected_.records.push_back(record("INFO", helper, filled(step.arguments, invocation_, false)));
        expected_.records.push_back(record("INFO", helper, good ? L"return 1" : L"return 0"));
        if (!good)
            sdkFails(step.code);
    }

    void take(const ReadyStep& step)
    {
        const bool creates =
            here_ == Deviation::noVirtualBox || here_ == Deviation::noSession || here_ == Deviation::freshRoots;
        if (!creates)
            return;
        expected_.calls.push_back(L"class: VirtualBox::CreateInstance()");
        if (here_ == Deviation::noVirtualBox)
            return creationFails(208, step.root != ReadyStep::none);
        expected_.calls.push_back(L"class: Session::CreateInstance()");
        expected_.newRoots = here_ == Deviation::noSession ? 1 : 2;
        if (here_ == Deviation::noSession)
            creationFails(209, step.root == ReadyStep::session);
    }

    /// The creation's failure is recorded under its own name. It counts as ready; the operation ends, without a record
    /// of its own, only when it needs what is missing.
    void creationFails(std::uint32_t code, bool needed)
    {
        const auto result = static_cast<std::uint32_t>(deviation_.result);
        expected_.records.push_back(comFailure(L"_initVBox", code, result));
        expected_.failureText = comFailureText(L"_initVBox", arguments_, code, result);
        expected_.lastResult = result;
        if (needed)
            endsWith(101);
    }

    void take(const SessionStep&)
    {
        if (here_ == Deviation::noSession)
            session_ = L"null";
    }

    void endsWith(std::uint32_t code)
    {
        expected_.code = code;
        ended_ = true;
    }

    void take(const FindStep& step)
    {
        if (here_ != Deviation::unknownHandle)
            return;
        expected_.emptyEntry = step.table;
        sdkFails(missingCode(step.table));
    }

    void take(const CallStep& step)
    {
        if (step.needsOutput && !deviation_.withOutputs) {
            ended_ = true;
            return;
        }
        expected_.calls.push_back(replaced(filled(step.call, invocation_, true), L"{session}", session_));
        const bool deviates = here_ == Deviation::comResult || here_ == Deviation::comGivesNull;
        if (deviates && step.tolerated && deviation_.result != 0)
            expected_.records.push_back(ignored(name_, step.code, static_cast<std::uint32_t>(deviation_.result)));
        if (deviates && !step.tolerated && deviation_.result < 0)
            comFails(step.code);
        else if (here_ == Deviation::comGivesNull && step.gives == Gives::required)
            comFails(step.code);
        else if (deviates && step.gives == Gives::optional &&
                 (here_ == Deviation::comGivesNull || deviation_.result < 0))
            ended_ = true;
    }

    void take(const WaitStep& step)
    {
        const std::wstring waiter = L"_waitForProgressCompletion";
        const std::wstring get = L"get " + step.tag + L" Progress ";
        const bool waits = here_ == Deviation::waitResult;
        const HRESULT result = here_ == Deviation::progressResult ? deviation_.result : 0;
        expected_.calls.push_back(step.progress + L": IProgress::get_Completed()");
        expected_.records.push_back(info(waiter, get + L"completed before waitCompletion: " + (waits ? L"0" : L"1")));
        if (waits) {
            expected_.records.push_back(info(waiter, step.tag + L" Progress waitting for completion"));
            expected_.calls.push_back(step.progress + L": IProgress::WaitForCompletion(-1)");
            if (deviation_.result < 0) {
                expected_.calls.push_back(step.progress + L": IProgress::get_Completed()");
                expected_.records.push_back(info(waiter, get + L"completed: 1"));
            }
        }
        expected_.calls.push_back(step.progress + L": IProgress::get_ResultCode()");
        expected_.records.push_back(info(waiter, get + L"return:" + std::to_wstring(result)));
        if (result != 0) {
            expected_.calls.push_back(step.progress + L": IProgress::get_ErrorInfo()");
            expected_.calls.push_back(L"IVirtualBoxErrorInfo of IProgress::get_ErrorInfo: "
                                      L"IVirtualBoxErrorInfo::GetDescription()");
            expected_.records.push_back(info(waiter, get + L"fail desc: text of IVirtualBoxErrorInfo::GetDescription"));
        }
        if ((here_ == Deviation::progressResult || waits) && deviation_.result < 0)
            comFails(121);
    }

    void take(const ResultStep& step)
    {
        if (!deviation_.withOutputs && !step.withoutOutput)
            return;
        const std::size_t value = step.text.find(L"text of ");
        const std::wstring text = deviation_.given ? step.text.substr(0, value) + *deviation_.given : step.text;
        expected_.records.push_back(info(name_, text));
    }

    void sdkFails(std::uint32_t code)
    {
        endsWith(code);
        expected_.records.push_back(sdkFailure(name_, code));
        expected_.failureText = sdkFailureText(name_, arguments_, code);
    }

    /// A result of 0 leaves no trace but the code.
    void comFails(std::uint32_t code)
    {
        endsWith(code);
        const auto result = static_cast<std::uint32_t>(deviation_.result);
        if (result == 0)
            return;
        expected_.records.push_back(comFailure(name_, code, result));
        expected_.failureText = comFailureText(name_, arguments_, code, result);
        expected_.lastResult = result;
    }

    std::wstring name_;
    const Row& row_;
    const Invocation& invocation_;
    const Deviation& deviation_;
    std::wstring arguments_;
    std::wstring session_ = L"session";
    Expected expected_;
    Deviation::Kind here_ = Deviation::none;
    bool ended_ = false;
};

constexpr std::uint32_t olderResult = 0xDEAD1234;
const std::wstring olderFailure = L"an older failure";

/// How many waits come before a step.
std::size_t waitsBefore(const Row& row, std::size_t step)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < step; ++i)
        count += std::holds_alternative<WaitStep>(row.steps[i]) ? 1 : 0;
    return count;
}

/// Leaves the progress of earlier waits as it is and changes that of this one.
void changeProgress(const std::wstring& method, std::size_t earlier, const std::function<void(Answer&)>& change)
{
    for (std::size_t i = 0; i < earlier; ++i)
        FakeWorld::changeOnce(method, [](Answer&) {});
    FakeWorld::changeOnce(method, change);
}

/// The root objects are not there, and their creation deviates.
void deviateRoots(Bench& bench, const Row& row, const Deviation& deviation)
{
    if (std::holds_alternative<SessionStep>(row.steps[deviation.step])) {
        bench.dropRoot(bench.box.session);
        return;
    }
    bench.dropRoot(bench.box.virtualBox);
    bench.dropRoot(bench.box.session);
    FakeWorld::answer(L"VirtualBox::CreateInstance",
                      {.given = {MakeObject{[] { return newFake<IVirtualBox>(L"virtualBox"); }}}});
    FakeWorld::answer(L"Session::CreateInstance",
                      {.given = {MakeObject{[] { return newFake<ISession>(L"session"); }}}});
    const auto fail = [&deviation](Answer& answer) { answer.result = deviation.result; };
    if (deviation.kind == Deviation::noVirtualBox)
        FakeWorld::change(L"VirtualBox::CreateInstance", fail);
    if (deviation.kind == Deviation::noSession)
        FakeWorld::change(L"Session::CreateInstance", fail);
}

Outputs expectedOutputs(const Row& row, const Deviation& deviation, const Expected& expected,
                        const std::vector<VBoxHandle>& issued)
{
    Outputs outputs;
    if (!expected.handsOut) {
        if (deviation.givesOnFailure && row.goodWithoutOutputs)
            row.goodWithoutOutputs(outputs);
        return outputs;
    }
    const auto& writes = deviation.withOutputs ? row.good : row.goodWithoutOutputs;
    if (writes)
        writes(outputs);
    if (!deviation.withOutputs)
        return outputs;
    if (deviation.given)
        outputs.text = *deviation.given;
    if (row.handsOutList)
        outputs.handles.insert(outputs.handles.end(), issued.begin(), issued.end());
    else if (!issued.empty())
        outputs.number = issued.front();
    return outputs;
}

} // namespace

std::wstring methodOf(const CallStep& step)
{
    const std::size_t start = step.call.find(L": ") + 2;
    return step.call.substr(start, step.call.find(L'(', start) - start);
}

Expected expected(std::size_t slot, const Invocation& invocation, const Deviation& deviation)
{
    return Walk(slot, invocation, deviation).run();
}

Invocation prepared(Bench& bench, std::size_t slot)
{
    const Row& row = rows()[slot];
    Invocation invocation(bench.box);
    invocation.texts = row.texts;
    for (const Step& step : row.steps) {
        if (const auto* find = std::get_if<FindStep>(&step))
            invocation.handles.push_back(bench.give(find->table));
        if (std::holds_alternative<FileStep>(step)) {
            std::ofstream(std::filesystem::path(existingFile())) << "content";
            std::filesystem::remove(missingFile());
        }
    }
    if (row.prepare)
        row.prepare(invocation);
    return invocation;
}

void deviate(Bench& bench, std::size_t slot, const Deviation& deviation)
{
    const Row& row = rows()[slot];
    const auto change = [&deviation](Answer& answer) {
        answer.result = deviation.result;
        answer.givesOnFailure = deviation.givesOnFailure;
    };
    switch (deviation.kind) {
    case Deviation::none:
    case Deviation::unknownHandle:
        break;
    case Deviation::fileAnswersNo:
        std::filesystem::remove(existingFile());
        break;
    case Deviation::comResult:
        FakeWorld::changeOnce(methodOf(std::get<CallStep>(row.steps[deviation.step])), change);
        break;
    case Deviation::comGivesNull:
        FakeWorld::changeOnce(methodOf(std::get<CallStep>(row.steps[deviation.step])), [&](Answer& answer) {
            answer.result = deviation.result;
            answer.given = {Null()};
        });
        break;
    case Deviation::noVirtualBox:
    case Deviation::noSession:
    case Deviation::freshRoots:
        deviateRoots(bench, row, deviation);
        break;
    case Deviation::progressResult:
        changeProgress(L"IProgress::get_ResultCode", waitsBefore(row, deviation.step),
                       [&](Answer& answer) { answer.given = {std::int64_t(deviation.result)}; });
        break;
    case Deviation::waitResult:
        changeProgress(L"IProgress::get_Completed", waitsBefore(row, deviation.step),
                       [](Answer& answer) { answer.given = {std::int64_t(0)}; });
        FakeWorld::changeOnce(L"IProgress::WaitForCompletion", change);
        break;
    }
}

void runAndCompare(Bench& bench, std::size_t slot, Invocation& invocation, const Deviation& deviation)
{
    const Row& row = rows()[slot];
    invocation.withOutputs = deviation.withOutputs;
    const Expected expects = expected(slot, invocation, deviation);
    const bool handsOut = expects.handsOut && (deviation.withOutputs || row.handsOut.empty());
    auto sizes = bench.sizes();
    long references = FakeWorld::references();
    std::vector<VBoxHandle> issued;
    if (handsOut) {
        for (const Table table : row.handsOut) {
            issued.push_back(static_cast<VBoxHandle>(++sizes[static_cast<std::size_t>(table)]));
            ++references;
        }
        for (const Table table : row.erases) {
            --sizes[static_cast<std::size_t>(table)];
            --references;
        }
    }
    references += expects.newRoots;
    if (expects.emptyEntry)
        ++sizes[static_cast<std::size_t>(*expects.emptyEntry)];
    bench.box.lastRC = olderResult;
    bench.box.lastErrorText = olderFailure;
    bench.records();
    FakeWorld::takeCalls();
    ComMemory::takeAllocatedTexts();

    const SdkErrorCode code = row.invoke(invocation);

    EXPECT_EQ(static_cast<std::uint32_t>(code), expects.code);
    EXPECT_EQ(FakeWorld::takeCalls(), expects.calls);
    EXPECT_EQ(bench.records(), expects.records);
    EXPECT_EQ(bench.box.lastRC, expects.lastResult.value_or(row.keepsLastResult ? olderResult : 0));
    EXPECT_EQ(maskedFailure(bench.box.lastErrorText), expects.failureText.value_or(olderFailure));
    EXPECT_TRUE(invocation.outputs == expectedOutputs(row, deviation, expects, issued));
    EXPECT_EQ(bench.sizes(), sizes);
    EXPECT_EQ(FakeWorld::references(), references);
    EXPECT_EQ(ComMemory::liveTexts(), 0u);
    EXPECT_EQ(ComMemory::liveArrays(), 0u);
    EXPECT_TRUE(bench.mutexIsFree());
}

void runAndCompare(std::size_t slot, const Deviation& deviation)
{
    Bench bench;
    Invocation invocation = prepared(bench, slot);
    deviate(bench, slot, deviation);
    runAndCompare(bench, slot, invocation, deviation);
}

} // namespace TravikTest
