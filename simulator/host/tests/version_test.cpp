#include <gtest/gtest.h>

#include "host/version.h"

using namespace VBoxSim;

TEST(Version, NumbersAreThoseOfTheRelease)
{
    EXPECT_EQ(apiVersion(L"6.1.40"), L"6_1");
    EXPECT_EQ(apiRevision(L"6.1.40"), 0x0601280000000001);
    EXPECT_EQ(apiRevision(L"6.1.50"), 0x0601320000000001);
    EXPECT_EQ(apiRevision(L"7.0.4"), 0x0700040000000001);
    EXPECT_EQ(sourceRevision(L"6.1.40"), 154048u);
    EXPECT_EQ(sourceRevision(L"6.1.2"), 135662u);
}

TEST(Version, ADistributorsSuffixCountsForNothing)
{
    EXPECT_EQ(normalizedVersion(L"6.1.40_Debian"), L"6.1.40");
    EXPECT_EQ(apiRevision(L"6.1.40_Debian"), apiRevision(L"6.1.40"));
    EXPECT_EQ(sourceRevision(L"6.1.40_OSE"), 154048u);
}

TEST(Version, AnUnknownReleaseHasNoRevision)
{
    EXPECT_EQ(sourceRevision(L"6.1.41"), 0u);
    EXPECT_EQ(sourceRevision(L"7.0.40"), 0u);
    EXPECT_EQ(sourceRevision(L""), 0u);
    EXPECT_EQ(apiRevision(L""), 1);
}
