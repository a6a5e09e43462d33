#include <gmock/gmock.h>

#include <chrono>

#include "base/failure.h"
#include "host/call_names.h"

using namespace VBoxSim;

namespace {

std::wstring complaint(const std::wstring& name)
{
    try {
        checkCallName(name);
    } catch (const Failure& failure) {
        return failure.text();
    }
    return L"";
}

} // namespace

TEST(CallNames, KnowMethodsAttributesActivationsAndOperations)
{
    for (const wchar_t* name :
         {L"IMachine::LockMachine", L"IMachine::get_Name", L"IMachine::put_Name", L"IEvent::get_Type",
          L"VirtualBox::CreateInstance", L"ISession::Release", L"IMachine::CloneTo.progress"})
        EXPECT_EQ(complaint(name), L"");
}

TEST(CallNames, ANameThatNoInterfaceHasIsRefusedWithTheNearest)
{
    EXPECT_THAT(complaint(L"IMachine::get_Nam"), testing::HasSubstr(L"IMachine::get_Name"));
    EXPECT_THAT(complaint(L"IMachin::get_Name"), testing::HasSubstr(L"IMachine::get_Name"));
    for (const wchar_t* name : {L"IMachine::Nope", L"IMachine", L"", L"IMachine::get_Name ", L"imachine::get_name",
                                L"IMachine::get_Name.progress", L"IMachine::Name"})
        EXPECT_NE(complaint(name), L"");
}

TEST(CallNames, ANameOfAnyLengthIsRefusedAtOnce)
{
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(complaint(L"IMachine::get_Name" + std::wstring(1'000'000, L'x')),
                testing::HasSubstr(L"nearest are IMachine::"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(CallNames, WhatVirtualBoxKeepsForItselfIsNoCall)
{
    EXPECT_NE(complaint(L"IMachine::InternalAndReservedMethod1IMachine"), L"");
}
