#pragma once

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "child_process.h"
#include "scratch.h"
#include "standin.h"
#include "world.h"

/// A world with so many machines, and the stand-in's server in another process.
class StandInWorld
{
public:
    static constexpr const wchar_t* machine = L"Machine 1";

    explicit StandInWorld(int machines) : world_(TravikTest::scratchFolder() / L"world")
    {
        using namespace TravikTest;
        registerStandIn();
        stopServer();
        for (int i = 1; i <= machines; ++i) {
            wchar_t id[64];
            std::swprintf(id, 64, L"3e9c1b52-6f6a-4c0e-9d55-%012x", i);
            world_.addMachine(L"Machine " + std::to_wstring(i), id);
        }
        world_.writeRegistry();
        setWorld(world_.home());
        setLinger(milliseconds(60'000));
    }
    ~StandInWorld() { stop(); }

    void start()
    {
        using namespace TravikTest;
        server_ =
            std::make_unique<ChildProcess>(productFolder() / L"vboxsim-svc.exe", std::vector<std::wstring>{L"--stay"});
        if (server_->readLine(milliseconds(120'000)) != L"ready") // it reads thousands of machines first
            throw std::runtime_error("the server does not start");
    }
    void stop()
    {
        TravikTest::stopServer();
        server_.reset();
    }

private:
    TravikTest::World world_;
    std::unique_ptr<TravikTest::ChildProcess> server_;
};
