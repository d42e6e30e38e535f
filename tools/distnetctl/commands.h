// The commands of distnetctl: each takes the global options and its own arguments, does its work and returns the exit
// code after Output::Finish. They block until done. Run on the main thread.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "client/distnet_client.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

struct GlobalOptions {
    bool json = false;
    std::string socket = Client::DEFAULT_SOCKET;
    double timeoutSeconds = 30;
    std::filesystem::path stateDir = "/var/lib/distnet";

    std::chrono::milliseconds Timeout() const
    {
        return std::chrono::milliseconds(static_cast<int64_t>(timeoutSeconds * 1000));
    }
};

// A client with the global limit, or null with the outcome that says why.
std::unique_ptr<Client::DistNetClient> ConnectClient(const GlobalOptions& options, Outcome& failure);

// Connects, does the work, and finishes with its outcome, or with the one that says why no daemon answers.
int WithClient(const GlobalOptions& options, Output& output,
               const std::function<Outcome(Client::DistNetClient& client)>& work);

// ---- Network (network_commands.cpp, start_command.cpp) ----------------------------------------------------------
int RunDevices(const GlobalOptions& options, Output& output);
int RunStart(const GlobalOptions& options, Output& output, const std::string& peer, bool wait, bool timing);
int RunStop(const GlobalOptions& options, Output& output, const std::string& peer);
int RunInfo(const GlobalOptions& options, Output& output, const std::vector<std::string>& items);

// ---- The daemon (daemon_commands.cpp) ---------------------------------------------------------------------------
int RunStatus(const GlobalOptions& options, Output& output);
int RunServiceHold(const GlobalOptions& options, Output& output);

// ---- How it is, and what happens (doctor_command.cpp, watch_command.cpp) -----------------------------------------
int RunDoctor(const GlobalOptions& options, Output& output);
int RunWatch(const GlobalOptions& options, Output& output, std::chrono::milliseconds interval);

// ---- The daemon's records (events_command.cpp, trace_command.cpp) --------------------------------------------------
int RunEvents(const GlobalOptions& options, Output& output, bool follow, const std::string& since);
int RunTraceStart(const GlobalOptions& options, Output& output);
int RunTraceStop(const GlobalOptions& options, Output& output, const std::filesystem::path& file, uint32_t recording);

// ---- Account and enrolment (account_commands.cpp): files below the state folder -------------------------------------
int RunAccountCreate(const GlobalOptions& options, Output& output, const std::string& name,
                     const std::string& deviceName);
int RunAccountShow(const GlobalOptions& options, Output& output);
int RunAccountRequest(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                      const std::string& deviceName);
int RunAccountAdmit(const GlobalOptions& options, Output& output, const std::filesystem::path& request,
                    const std::filesystem::path& answer);
int RunAccountInstall(const GlobalOptions& options, Output& output, const std::filesystem::path& file);

// ---- A simulated device (sim_commands.cpp) ----------------------------------------------------------------------
int RunSimShow(const GlobalOptions& options, Output& output);
int RunSimSet(const GlobalOptions& options, Output& output, const std::vector<std::string>& assignments);

}  // namespace Vexo::Ctl
