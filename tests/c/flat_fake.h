#pragma once

#include <windows.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "../helper/fake_vbox.h"
#include "library_under_test.h"
#include "travik/travik.h"

namespace TravikTest {

/// Owns an error.
class Error
{
public:
    Error() = default;
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    ~Error() { travik_freeError(&error_); }

    travik_error** put()
    {
        travik_freeError(&error_);
        return &error_;
    }
    const travik_error* operator->() const
    {
        if (!error_)
            throw std::logic_error("there is no error");
        return error_;
    }

private:
    travik_error* error_ = nullptr;
};

/// Asks again and again until the answer is yes, ten seconds at most.
template <class Question>
bool soon(Question&& question)
{
    for (int i = 0; i < 1000; ++i) {
        if (question())
            return true;
        Sleep(10);
    }
    return question();
}

/// The flat interface over a fake of the whole C++ interface. Open ones are closed at the end.
class FlatTest : public testing::Test
{
protected:
    FlatTest()
    {
        libraryUnderTest = &fake;
        fake.onCall = [this](const std::string& operation) { called(operation); };
    }
    ~FlatTest() override
    {
        travik_close(0, nullptr);
        libraryUnderTest = nullptr;
    }

    /// What an operation does when it is called; to be set while none runs.
    std::function<void(const std::string& operation)> act;

    /// How often an operation was called; the fake's own count is for the time after the end.
    int count(const std::string& operation)
    {
        const std::lock_guard lock(guard_);
        return counts_[operation];
    }

    void open(std::uint32_t flags = 0, std::uint32_t deadlineMs = 0)
    {
        const travik_options options{sizeof(travik_options), flags, nullptr, deadlineMs, 0};
        ASSERT_EQ(travik_open(&options, nullptr), 0u);
    }
    void close() { EXPECT_EQ(travik_close(0, nullptr), 0u); }

    /// Makes a call with longer and longer deadlines until one passes inside the operation.
    template <class Call>
    static void outlast(Call&& call)
    {
        Error error;
        std::uint32_t code = 0;
        std::uint32_t deadlineMs = 50;
        do {
            code = call(deadlineMs, error.put());
            deadlineMs *= 2;
        } while (code == TRAVIK_Deadline && std::string(error->text).find("has not begun") != std::string::npos);
        ASSERT_EQ(code, TRAVIK_Deadline);
        EXPECT_NE(std::string(error->text).find("goes on"), std::string::npos) << error->text;
    }

    /// Waits until the worker has done all that was given to it.
    void drain() { EXPECT_EQ(travik_getHost(nullptr, TRAVIK_NO_DEADLINE, nullptr), 0u); }

    static travik_machine machine(std::uint32_t number) { return {std::uint64_t(1) << 32 | number}; }
    static travik_progress progress(std::uint32_t number) { return {std::uint64_t(2) << 32 | number}; }
    static travik_console console(std::uint32_t number) { return {std::uint64_t(3) << 32 | number}; }

    /// An operation that lasts until it is released.
    class Blocked
    {
    public:
        Blocked(FlatTest& test, std::string operation)
            : called_(CreateEventW(nullptr, TRUE, FALSE, nullptr)), go_(CreateEventW(nullptr, TRUE, FALSE, nullptr))
        {
            test.act = [called = called_, go = go_, operation = std::move(operation)](const std::string& name) {
                if (name != operation)
                    return;
                SetEvent(called);
                WaitForSingleObject(go, 20'000);
            };
        }
        ~Blocked() { release(); }
        void awaitCall() { EXPECT_EQ(WaitForSingleObject(called_, 20'000), WAIT_OBJECT_0); }
        void release() { SetEvent(go_); }

    private:
        HANDLE called_; // they live as long as the process: the worker may use them
        HANDLE go_;
    };

    FakeVBox fake;

private:
    void called(const std::string& operation)
    {
        {
            const std::lock_guard lock(guard_);
            ++counts_[operation];
        }
        if (act && operation != "releaseRC") // by which the end of a test may come
            act(operation);
    }

    std::mutex guard_;
    std::map<std::string, int> counts_;
};

} // namespace TravikTest
