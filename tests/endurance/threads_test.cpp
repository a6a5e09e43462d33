// Sixteen threads on one instance, a million operations, and everything going wrong by chance.

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>

#include "com_memory.h"
#include "com_roots.h"
#include "promises.h"
#include "random_numbers.h"
#include "worker.h"

namespace TravikTest {
namespace {

constexpr std::size_t threadCount = 16;
constexpr int rounds = 40;
constexpr int operationsEach = 1600; // a round of all threads together: 25,600
constexpr std::uint32_t recentHandles = 256;

/// The handles of each table that were given out last, for whoever wants one.
struct SharedHandles
{
    std::array<std::array<std::atomic<VBoxHandle>, recentHandles>, tableCount> handles = {};

    std::atomic<VBoxHandle>& any(Table table, Random& random)
    {
        return handles[static_cast<std::size_t>(table)][random.below(recentHandles)];
    }
};

HRESULT anyFailure(Random& random)
{
    static const std::array<std::uint32_t, 6> failures = {Result::ObjectNotFound,       Result::Fail,
                                                          Result::RpcServerUnavailable, Result::AccessDenied,
                                                          Result::RpcWrongThread,       0xFFFFFFFF};
    return static_cast<HRESULT>(failures[random.below(static_cast<std::uint32_t>(failures.size()))]);
}

/// One in ten calls fails, one in twenty gives nothing, some let the other threads pass.
void disturbed(Answer& answer, Random& random)
{
    if (random.oneIn(10))
        answer.result = anyFailure(random);
    else if (random.oneIn(20))
        answer.given = {Null(), Null(), Null()};
    if (random.oneIn(10))
        Sleep(0);
}

/// Those that take no lock by contract, and must run alone.
bool runsBesideOthers(std::size_t slot)
{
    return slot != static_cast<std::size_t>(Op::createVmName) && slot != static_cast<std::size_t>(Op::setLogPath);
}

class Storm
{
public:
    explicit Storm(Bench& bench) : bench_(bench)
    {
        for (std::size_t thread = 0; thread < threadCount; ++thread)
            threads_.push_back(std::make_unique<Thread>(*this, thread));
        for (std::size_t slot = 0; slot < operationCount; ++slot) {
            if (rows()[slot].prepare)
                rows()[slot].prepare(Invocation(bench.box));
        }
    }

    /// False when the threads do not come to their end.
    bool round()
    {
        for (const auto& thread : threads_)
            thread->worker.start([&thread] { thread->run(); });
        for (const auto& thread : threads_) {
            if (!thread->worker.drain(std::chrono::minutes(3)))
                return false;
        }
        return true;
    }

    /// The texts that went into operations since the last time: each stands in one entry record.
    std::set<std::string> takeMarks()
    {
        std::set<std::string> all;
        for (const auto& thread : threads_)
            all.merge(thread->marks);
        for (const auto& thread : threads_)
            thread->marks.clear();
        return all;
    }

    std::uint64_t operations() const { return sum(&Thread::operations); }
    std::uint64_t failures() const { return sum(&Thread::failures); }
    std::uint64_t resets() const { return sum(&Thread::resets); }
    std::uint64_t releases() const { return sum(&Thread::releases); }
    std::uint64_t thrown() const { return sum(&Thread::thrown); }
    std::string unlawful()
    {
        std::string all;
        for (const auto& thread : threads_)
            all += thread->unlawful;
        return all;
    }

private:
    struct Thread
    {
        Thread(Storm& storm, std::size_t number) : storm(storm), number(number), random(seed() * 31 + number) {}

        void run()
        {
            current = this;
            for (int i = 0; i < operationsEach; ++i)
                runOne();
        }

        void runOne()
        {
            ++operations;
            if (random.oneIn(20'000)) {
                ++resets;
                random.oneIn(2) ? storm.bench_.box.resetComComponent() : storm.bench_.box.releaseRC();
                return;
            }
            if (random.oneIn(50))
                return askForFailure();
            const std::size_t slot = random.below(operationCount);
            const Row& row = rows()[slot];
            if (row.kind == Row::release)
                return giveBack(row.table);
            if (row.kind == Row::converter)
                return static_cast<void>(row.convert(storm.bench_.box, random.any()));
            if (row.kind == Row::framed && runsBesideOthers(slot))
                runFramed(slot, row);
        }

        void askForFailure()
        {
            storm.bench_.box.getVBoxError();
            const std::wstring text = storm.bench_.box.getVBoxErrorMessage();
            if (!text.empty() && text.compare(0, 22, L"vbox sdk failure in Tr") != 0)
                unlawful += "a torn failure text; ";
        }

        void giveBack(Table table)
        {
            ++releases;
            const VBoxHandle handle = storm.shared_.any(table, random).load();
            if (storm.bench_.box.release(table, handle) != 0)
                unlawful += "a release that fails; ";
        }

        VBoxHandle anyHandle(Table table)
        {
            return random.oneIn(12) ? random.below(3000) : storm.shared_.any(table, random).load();
        }

        void runFramed(std::size_t slot, const Row& row)
        {
            Invocation invocation(storm.bench_.box);
            invocation.texts = row.texts;
            if (!row.textsArePaths && !row.texts.empty()) {
                const std::string mark = "mark-" + std::to_string(number) + "-" + std::to_string(operations) + "-end";
                invocation.texts[0] = std::wstring(mark.begin(), mark.end());
                marks.insert(mark);
            }
            for (const Step& step : row.steps) {
                if (const auto* find = std::get_if<FindStep>(&step))
                    invocation.handles.push_back(anyHandle(find->table));
            }
            invocation.withOutputs = !random.oneIn(10);
            invocation.outputs.number = 0;
            if (row.textsArePaths && random.oneIn(3))
                std::ofstream(std::filesystem::path(existingFile())) << "content";
            std::uint32_t code = 0;
            try {
                code = row.invoke(invocation);
            } catch (const std::exception&) {
                if (!promiseOf(slot).throwsFileError) // others take the files away meanwhile
                    throw;
                ++thrown;
            }
            failures += code == 0 ? 0 : 1;
            if (!promiseOf(slot).allows(code) && slot != static_cast<std::size_t>(Op::restoreVmDisk)) {
                const std::wstring name = nameOf(slot);
                unlawful += std::string(name.begin(), name.end()) + " answers " + std::to_string(code) + "; ";
            }
            keep(row, invocation);
        }

        void keep(const Row& row, const Invocation& invocation)
        {
            if (row.handsOutList) {
                for (std::size_t i = 1; i < invocation.outputs.handles.size(); ++i)
                    storm.shared_.any(row.handsOut[0], random).store(invocation.outputs.handles[i]);
            } else if (row.handsOut.size() == 1 && invocation.outputs.number != 0) {
                storm.shared_.any(row.handsOut[0], random).store(invocation.outputs.number);
            }
        }

        Storm& storm;
        std::size_t number;
        Random random;
        std::uint64_t operations = 0;
        std::uint64_t failures = 0;
        std::uint64_t resets = 0;
        std::uint64_t releases = 0;
        std::uint64_t thrown = 0;
        std::set<std::string> marks;
        std::string unlawful;
        Worker worker;
    };

    std::uint64_t sum(std::uint64_t Thread::*count) const
    {
        std::uint64_t all = 0;
        for (const auto& thread : threads_)
            all += (*thread).*count;
        return all;
    }

public:
    /// The random numbers of the thread that asks.
    static Random& random() { return current->random; }

private:
    static thread_local Thread* current;
    Bench& bench_;
    SharedHandles shared_;
    std::vector<std::unique_ptr<Thread>> threads_;
};

thread_local Storm::Thread* Storm::current = nullptr;

/// Every line is a record of the library, and every mark stands in exactly one.
void expectWhole(const std::vector<std::string>& records, std::set<std::string> marks)
{
    for (const std::string& record : records) {
        const bool laidOut = record.rfind("[INFO] (Travik::", 0) == 0 || record.rfind("[ERROR] (Travik::", 0) == 0;
        ASSERT_TRUE(laidOut && record.find('\n') == std::string::npos) << record;
        const std::size_t mark = record.find("mark-");
        if (mark == std::string::npos || record.find("getVBoxErrorMessage") != std::string::npos)
            continue; // that one shows a failure's text
        const std::size_t end = record.find("-end", mark);
        ASSERT_NE(end, std::string::npos) << record;
        ASSERT_EQ(marks.erase(record.substr(mark, end + 4 - mark)), 1u) << "twice: " << record;
    }
    EXPECT_EQ(marks.size(), 0u) << "no record has " << *marks.begin();
}

TEST(Threads, AMillionOperationsOfSixteenThreadsLeaveNothingBehind)
{
    SCOPED_TRACE(seedText());
    std::cout << seedText() << '\n';
    Bench bench;
    std::uint64_t records = 0;
    std::size_t largest = 0;
    std::uint64_t operations = 0;
    {
        Storm storm(bench);
        ComRoots::chance([] { return Storm::random().oneIn(4) ? anyFailure(Storm::random()) : S_FALSE; });
        FakeWorld::disturb([](Answer& answer) { disturbed(answer, Storm::random()); });
        for (int i = 0; i < rounds; ++i) {
            if (!storm.round()) {
                ADD_FAILURE() << "threads wait for each other for ever";
                std::cout.flush();
                std::abort();
            }
            ASSERT_EQ(storm.unlawful(), "");
            ASSERT_TRUE(bench.mutexIsFree());
            const std::vector<std::string> written = bench.records();
            records += written.size();
            expectWhole(written, storm.takeMarks());
            if (HasFatalFailure() || HasNonfatalFailure())
                break;
            for (const std::size_t size : bench.sizes())
                largest = std::max(largest, size);
            FakeWorld::sweep();
            ComMemory::takeAllocatedTexts();
        }
        operations = storm.operations();
        std::cout << operations << " operations, " << storm.failures() << " failed, " << storm.thrown()
                  << " threw for a file, " << storm.releases() << " releases, " << storm.resets() << " resets, "
                  << records << " records, largest table " << largest << '\n';
        EXPECT_GT(storm.resets(), 0u);
        ComRoots::chance({});
        FakeWorld::disturb({});
    }
    EXPECT_GE(operations, 1'000'000u);
    EXPECT_GT(largest, 2000u) << "no table came to its bound";
    bench.finish(); // no reference, text, array or lock is left
}

} // namespace
} // namespace TravikTest
