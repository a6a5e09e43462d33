// Damaged settings files: an answer or a refusal, never more.
#include <gtest/gtest.h>

#include <random>

#include "base/failure.h"
#include "base/files.h"
#include "fixtures.h"
#include "scratch.h"
#include "settings/machine_settings.h"

using namespace VBoxSim;

namespace {

const std::wstring settingsFile = Files::join(TravikTest::scratchFolder().wstring(), L"x.vbox");

std::string mutated(std::string text, std::mt19937& random)
{
    const auto place = [&] { return random() % text.size(); };
    switch (random() % 6) {
    case 0:
        text.resize(place());
        break;
    case 1:
        for (int i = 0; i < 4; ++i)
            text[place()] = static_cast<char>(random());
        break;
    case 2: {
        const std::size_t from = place();
        text.erase(from, random() % 80);
        break;
    }
    case 3: {
        const std::size_t from = place();
        text.insert(place(), text.substr(from, random() % 200));
        break;
    }
    case 4:
        for (std::size_t i = place(); i < text.size(); ++i)
            if (text[i] >= '0' && text[i] <= '9')
                text[i] = static_cast<char>('0' + random() % 10);
        break;
    default:
        text.insert(place(), std::string("\"<>&;='{}\0\xff", 11).substr(random() % 11, 1));
    }
    return text.empty() ? "x" : text;
}

} // namespace

TEST(DamagedSettings, AreAnsweredOrRefused)
{
    std::mt19937 random(61);
    int accepted = 0, refused = 0;
    for (int round = 0; round < TRAVIK_MUTATION_ROUNDS; ++round) {
        std::string text = richSettings();
        for (unsigned changes = 1 + random() % 3; changes > 0; --changes)
            text = mutated(text, random);
        try {
            const MachineSettings settings = parseMachineSettings(text, settingsFile);
            // What was accepted can be written, and reads the same again.
            const MachineSettings again =
                parseMachineSettings(renderMachineSettings(settings, settingsFile), settingsFile);
            ASSERT_EQ(again.id, settings.id) << text;
            ASSERT_EQ(again.cpuCount, settings.cpuCount) << text;
            ++accepted;
        } catch (const Failure& failure) {
            ASSERT_TRUE(failure.code() == Result::fail || failure.code() == Result::objectInUse ||
                        failure.code() == Result::invalidArgument);
            ++refused;
        }
    }
    EXPECT_GT(accepted, TRAVIK_MUTATION_ROUNDS / 20);
    EXPECT_GT(refused, TRAVIK_MUTATION_ROUNDS / 20);
}
