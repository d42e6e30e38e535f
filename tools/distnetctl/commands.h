// The commands of distnetctl. Each function Run… runs one command, prints its outcome and returns the exit code. The
// arguments are the global options and the arguments of the command. Each function blocks until the command has ended.
// Main thread only.
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
    bool hasTimeout = false;  // true if the user gave --timeout; if not, attempts to get online have no time limit
    std::filesystem::path stateDir = "/var/lib/distnet";
    bool hasStateDir = false;  // true if the user gave --state

    std::chrono::milliseconds Timeout() const
    {
        return std::chrono::milliseconds(static_cast<int64_t>(timeoutSeconds * 1000));
    }
};

// Connects to the daemon and applies --timeout. If this fails, returns null, and the parameter failure receives the
// outcome with which the command must end.
std::unique_ptr<Client::DistNetClient> ConnectClient(const GlobalOptions& options, Outcome& failure);

// Connects to the daemon, calls the given function, and prints the outcome that this function returns. If there is no
// connection, prints an outcome that says why. Returns the exit code. Ctrl-C ends the process.
int WithClient(const GlobalOptions& options, Output& output,
               const std::function<Outcome(Client::DistNetClient& client)>& work);

// ---- Commands to get online and to disconnect (online_commands.cpp, start_command.cpp) -----------------------------
int RunUp(const GlobalOptions& options, Output& output, const std::vector<std::string>& words);
int RunStart(const GlobalOptions& options, Output& output, const std::string& peer, bool wait, bool timing);
// Returns a function that the caller passes to FindPeer (peers.h). The function prints which device it searches for,
// and makes the daemon scan for devices nearby. word: the searched device, as the user typed it. The objects options
// and output must outlive the function.
std::function<void()> ScanFor(const GlobalOptions& options, Output& output, const std::string& word);
int RunDown(const GlobalOptions& options, Output& output);
// mode: "on" or "off" switches automatic mode; an empty text shows the mode.
int RunAuto(const GlobalOptions& options, Output& output, const std::string& mode);
// Sets the list of preferred devices. words: these devices, the best one first. isNone: clears the list. If words is
// empty and isNone is false, prints the list.
int RunPrefer(const GlobalOptions& options, Output& output, const std::vector<std::string>& words, bool isNone);

// ---- Commands to share this device's network (share_commands.cpp) ---------------------------------------------------
int RunShareStatus(const GlobalOptions& options, Output& output);
int RunShareRequests(const GlobalOptions& options, Output& output);
int RunShareDecide(const GlobalOptions& options, Output& output, const std::string& word, Host::ShareDecision decision);

// ---- Commands about other devices and the network (network_commands.cpp) -------------------------------------------
int RunDevices(const GlobalOptions& options, Output& output, bool scans);
int RunStop(const GlobalOptions& options, Output& output, const std::string& peer);
int RunInfo(const GlobalOptions& options, Output& output, const std::vector<std::string>& items);

// ---- Commands about the daemon (daemon_commands.cpp) ----------------------------------------------------------------
int RunStatus(const GlobalOptions& options, Output& output);
int RunServiceHold(const GlobalOptions& options, Output& output);

// ---- Commands for diagnosis and the live view (doctor_command.cpp, watch_command.cpp) -------------------------------
int RunDoctor(const GlobalOptions& options, Output& output);
int RunWatch(const GlobalOptions& options, Output& output, std::chrono::milliseconds interval);

// ---- Commands to read the daemon's events and traces (events_command.cpp, trace_command.cpp) ------------------------
int RunEvents(const GlobalOptions& options, Output& output, bool follow, const std::string& since);
int RunTraceStart(const GlobalOptions& options, Output& output);
int RunTraceStop(const GlobalOptions& options, Output& output, const std::filesystem::path& file, uint32_t recording);

// ---- Account commands that work on files in the state folder (account_commands.cpp) ---------------------------------
int RunAccountCreate(const GlobalOptions& options, Output& output, const std::string& name,
                     const std::string& deviceName);
int RunAccountShow(const GlobalOptions& options, Output& output);
int RunAccountRequest(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                      const std::string& deviceName);
int RunAccountAdmit(const GlobalOptions& options, Output& output, const std::filesystem::path& request,
                    const std::filesystem::path& answer);
int RunAccountInstall(const GlobalOptions& options, Output& output, const std::filesystem::path& file);

// ---- Account commands that use the daemon (invite_command.cpp, join_command.cpp, member_commands.cpp) ---------------
int RunAccountInvite(const GlobalOptions& options, Output& output, bool yes);
// Reads the ticket from standard input. deviceName: the new name of this device; if empty, the daemon uses the name in
// its configuration.
int RunAccountJoin(const GlobalOptions& options, Output& output, const std::string& deviceName);
int RunAccountDevices(const GlobalOptions& options, Output& output);
int RunAccountRename(const GlobalOptions& options, Output& output, const std::string& device, const std::string& name);
int RunAccountRemove(const GlobalOptions& options, Output& output, const std::string& device, bool yes,
                     bool announcesNewKeyOnly);
int RunAccountTransfer(const GlobalOptions& options, Output& output, const std::string& word, bool yes);
int RunAccountLeave(const GlobalOptions& options, Output& output, bool yes);
int RunAccountRenew(const GlobalOptions& options, Output& output);
using AccountCancel = Client::CallResult (Client::DistNetClient::*)(Host::ChangeAnswer& answer);
// After this call, Ctrl-C cancels an account operation and ends the process. cancel: the call to the daemon that
// cancels the operation. said: the text to print.
void CancelOnInterrupt(const GlobalOptions& options, Output& output, AccountCancel cancel, const std::string& said);

// ---- Commands to save and restore the account's key (backup_commands.cpp) -------------------------------------------
// passphraseDescriptor: the file descriptor from which the passphrase is read. If negative, the command asks for the
// passphrase at the terminal.
int RunAccountBackup(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                     int passphraseDescriptor);
int RunAccountRestore(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                      int passphraseDescriptor, const std::string& deviceName, bool isAlone);

// ---- Commands for a simulated device (sim_commands.cpp) -------------------------------------------------------------
// Returns true if the arguments name a simulated device: the folder of --state has the settings file of such a device.
// Without --state, checks the folder of the socket and the default state folder. Called before the arguments are
// parsed, because the help lists the `sim` commands only for a simulated device.
bool IsSimulated(const GlobalOptions& defaults, int argc, const char* const* argv);
int RunSimShow(const GlobalOptions& options, Output& output);
int RunSimSet(const GlobalOptions& options, Output& output, const std::vector<std::string>& assignments);

}  // namespace Vexo::Ctl
