// The commands of distnetctl. Each function runs one command with the global options and the command's own arguments,
// prints its outcome and returns the exit code. They block until the command is done. Main thread only.
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
    bool hasTimeout = false;  // --timeout was given; without it, attempts to get online have no limit
    std::filesystem::path stateDir = "/var/lib/distnet";

    std::chrono::milliseconds Timeout() const
    {
        return std::chrono::milliseconds(static_cast<int64_t>(timeoutSeconds * 1000));
    }
};

// Connects to the daemon and applies --timeout. Returns null on failure; failure is then the outcome to finish with.
std::unique_ptr<Client::DistNetClient> ConnectClient(const GlobalOptions& options, Outcome& failure);

// Connects to the daemon, runs work and finishes with the outcome of work. If connecting fails, finishes with the
// outcome that says why. Ctrl-C ends the process (EndOnInterrupt).
int WithClient(const GlobalOptions& options, Output& output,
               const std::function<Outcome(Client::DistNetClient& client)>& work);

// ---- Online and off again (online_commands.cpp, start_command.cpp) ------------------------------------------------
int RunUp(const GlobalOptions& options, Output& output, const std::vector<std::string>& words);
int RunStart(const GlobalOptions& options, Output& output, const std::string& peer, bool wait, bool timing);
// Returns the scan function for FindPeer (peers.h). The function prints that the device word is searched for, and makes
// the daemon scan for devices nearby. options and output must outlive the function.
std::function<void()> ScanFor(const GlobalOptions& options, Output& output, const std::string& word);
int RunDown(const GlobalOptions& options, Output& output);
// mode: "on" or "off" sets automatic mode; empty shows it.
int RunAuto(const GlobalOptions& options, Output& output, const std::string& mode);
// Sets the preferred devices to words, the best first; isNone removes all. With neither, shows the preferred devices.
int RunPrefer(const GlobalOptions& options, Output& output, const std::vector<std::string>& words, bool isNone);

// ---- Sharing this device's network (share_commands.cpp) ---------------------------------------------------------
int RunShareStatus(const GlobalOptions& options, Output& output);
int RunShareRequests(const GlobalOptions& options, Output& output);
int RunShareDecide(const GlobalOptions& options, Output& output, const std::string& word, Host::ShareDecision decision);

// ---- Network (network_commands.cpp) -----------------------------------------------------------------------------
int RunDevices(const GlobalOptions& options, Output& output, bool scans);
int RunStop(const GlobalOptions& options, Output& output, const std::string& peer);
int RunInfo(const GlobalOptions& options, Output& output, const std::vector<std::string>& items);

// ---- The daemon (daemon_commands.cpp) ---------------------------------------------------------------------------
int RunStatus(const GlobalOptions& options, Output& output);
int RunServiceHold(const GlobalOptions& options, Output& output);

// ---- Diagnosis and live view (doctor_command.cpp, watch_command.cpp) ----------------------------------------------
int RunDoctor(const GlobalOptions& options, Output& output);
int RunWatch(const GlobalOptions& options, Output& output, std::chrono::milliseconds interval);

// ---- The daemon's records (events_command.cpp, trace_command.cpp) --------------------------------------------------
int RunEvents(const GlobalOptions& options, Output& output, bool follow, const std::string& since);
int RunTraceStart(const GlobalOptions& options, Output& output);
int RunTraceStop(const GlobalOptions& options, Output& output, const std::filesystem::path& file, uint32_t recording);

// ---- Account and enrolment, on files in the state folder (account_commands.cpp) -----------------------------------
int RunAccountCreate(const GlobalOptions& options, Output& output, const std::string& name,
                     const std::string& deviceName);
int RunAccountShow(const GlobalOptions& options, Output& output);
int RunAccountRequest(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                      const std::string& deviceName);
int RunAccountAdmit(const GlobalOptions& options, Output& output, const std::filesystem::path& request,
                    const std::filesystem::path& answer);
int RunAccountInstall(const GlobalOptions& options, Output& output, const std::filesystem::path& file);

// ---- The account, through the daemon (invite_command.cpp, join_command.cpp, member_commands.cpp) --------------------
int RunAccountInvite(const GlobalOptions& options, Output& output, bool yes);
// Reads the ticket from standard input. If deviceName is empty, the device has the name in the daemon's configuration.
int RunAccountJoin(const GlobalOptions& options, Output& output, const std::string& deviceName);
int RunAccountDevices(const GlobalOptions& options, Output& output);
int RunAccountRename(const GlobalOptions& options, Output& output, const std::string& device, const std::string& name);
int RunAccountRemove(const GlobalOptions& options, Output& output, const std::string& device, bool yes,
                     bool announcesNewKeyOnly);
int RunAccountTransfer(const GlobalOptions& options, Output& output, const std::string& word, bool yes);
int RunAccountLeave(const GlobalOptions& options, Output& output, bool yes);
int RunAccountRenew(const GlobalOptions& options, Output& output);
using AccountCancel = Client::CallResult (Client::DistNetClient::*)(Host::ChangeAnswer& answer);
// From now on Ctrl-C calls cancel at the daemon, prints said, and ends the process.
void EndAfterCancel(const GlobalOptions& options, Output& output, AccountCancel cancel, const std::string& said);

// ---- The account's key, on files (backup_commands.cpp) ------------------------------------------------------------
// passphraseDescriptor: where the passphrase is read from; negative: it is asked for at the terminal.
int RunAccountBackup(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                     int passphraseDescriptor);
int RunAccountRestore(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                      int passphraseDescriptor, const std::string& deviceName, bool isAlone);

// ---- A simulated device (sim_commands.cpp) ----------------------------------------------------------------------
// Returns whether the arguments name a simulated device: the folder of --state has the settings file of one. Without
// --state, checks the folder of the socket and the default state folder. For the help, before the arguments are parsed.
bool IsSimulated(const GlobalOptions& defaults, int argc, const char* const* argv);
int RunSimShow(const GlobalOptions& options, Output& output);
int RunSimSet(const GlobalOptions& options, Output& output, const std::vector<std::string>& assignments);

}  // namespace Vexo::Ctl
