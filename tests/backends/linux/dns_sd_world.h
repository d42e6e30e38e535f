// DnsSdWorld: two machines, "a" and "b", that are connected by a virtual Ethernet cable. Each machine is a network
// namespace with its own D-Bus bus, the real avahi-daemon and the devices under test (dns_sd_side.cpp). Needs root, or
// a kernel that lets unprivileged users create namespaces. The destructor stops all processes.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/end_to_end/process.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Tests {

class DnsSdWorld {
public:
    using Words = std::vector<std::string>;
    static constexpr std::chrono::seconds START_LIMIT{10};

    // Starts both machines. Returns an empty text on success. Otherwise returns the reason why this system cannot run
    // the machines.
    std::string Start()
    {
        std::ofstream(File("bus.conf"))
            << "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy context=\"default\">"
            << R"(<allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>)";
        // avahi-daemon requires that the user "avahi" owns avahi-daemon's runtime folder. Because the namespace may
        // have only user 0, copies of passwd and group give the user "avahi" the user and group id 0.
        const std::string hold =
            "mount -t tmpfs tmpfs /run && for f in passwd group; do"
            " sed -E 's/^(avahi:x):[0-9]+(:[0-9]+)?/\\1:0\\2/; s/^(avahi:x:0):[0-9]+/\\1:0/' /etc/$f >/run/$f &&"
            " mount --bind /run/$f /etc/$f || exit; done && echo ready && exec sleep 120";
        for (const std::string machine : {"a", "b"}) {
            const bool isFirst = machine == "a";
            Words command = isFirst ? Words() : Enter("a", false);
            command.insert(command.end(), {"/usr/bin/unshare", "--net", "--mount"});
            if (isFirst && geteuid() != 0) {
                command.insert(command.end(), {"--user", "--map-root-user"});
            }
            command.insert(command.end(), {"/usr/bin/setpriv", "--pdeathsig", "KILL", "/bin/sh", "-c", hold});
            processes_[machine] = std::make_unique<EndToEnd::Process>(command, File(machine + ".log"));
            if (!EndToEnd::Eventually([&] { return !Output(machine).empty(); }) || Output(machine) != "ready\n") {
                return "no network namespaces: " + Output(machine);
            }
        }
        In("a", "ip link add va type veth peer name vb netns " + std::to_string(processes_.at("b")->Pid()));
        In("a", "ip link set va up && ip addr add 192.0.2.1/24 dev va && ip addr add 2001:db8::1/64 dev va nodad");
        In("b", "ip link set vb up && ip addr add 192.0.2.2/24 dev vb && ip addr add 2001:db8::2/64 dev vb nodad");
        for (const std::string machine : {"a", "b"}) {
            std::ofstream(File(machine + ".conf"))
                << "[server]\nhost-name=machine-" << machine << "\nratelimit-interval-usec=0\n"
                << "[publish]\npublish-addresses=no\n";
            StartBus(machine);
            StartAvahi(machine);
        }
        return {};
    }

    // Returns the D-Bus address of the machine's bus.
    std::string Address(const std::string& machine) const { return "unix:path=" + File(machine + ".bus"); }
    // Runs a shell command on a machine and waits for its end. Fails the test if the command fails.
    void In(const std::string& machine, const std::string& words)
    {
        EndToEnd::Process process(With(Enter(machine), {"/bin/sh", "-c", words}), File("shell.log"));
        EXPECT_EQ(process.Wait(), 0) << words << "\n" << EndToEnd::ReadText(File("shell.log"));
    }
    void StartBus(const std::string& machine)
    {
        std::filesystem::remove(File(machine + ".bus"));
        Begin(machine, "bus-" + machine,
              {"/usr/bin/dbus-daemon", "--nofork", "--nosyslog", "--print-address", "--address=" + Address(machine),
               "--config-file=" + File("bus.conf")});
        EXPECT_TRUE(EndToEnd::Eventually([&] { return Output("bus-" + machine).find("unix:") != std::string::npos; }))
            << Output("bus-" + machine);
    }
    void StartAvahi(const std::string& machine)
    {
        Begin(machine, "avahi-" + machine,
              {"/usr/bin/env", "DBUS_SYSTEM_BUS_ADDRESS=" + Address(machine), "/usr/sbin/avahi-daemon",
               "--no-drop-root", "--no-chroot", "--no-rlimits", "--no-proc-title", "-f", File(machine + ".conf")});
        ASSERT_TRUE(EndToEnd::Eventually(
            [&] { return Output("avahi-" + machine).find("startup complete") != std::string::npos; }, START_LIMIT))
            << Output("avahi-" + machine);
    }
    void StartMonitor(const std::string& machine)
    {
        Begin(machine, "monitor", {"/usr/bin/busctl", "--address=" + Address(machine), "--json=short", "monitor"});
        EXPECT_TRUE(EndToEnd::Eventually([&] { return Output("monitor").starts_with("Monitoring"); }));
    }
    // Reads the bus monitor's output. Returns the smallest number of established entry groups that remained after a
    // group was freed. Returns SIZE_MAX if no group was freed.
    size_t FewestGroups() const
    {
        std::set<std::string> groups;
        size_t fewest = SIZE_MAX;
        std::istringstream lines(Output("monitor"));
        for (std::string line; std::getline(lines, line);) {
            const size_t from = line.find("/EntryGroup");
            const std::string path = line.substr(std::min(from, line.size()), line.find('"', from) - from);
            if (from != std::string::npos && line.find("\"StateChanged\"") != std::string::npos &&
                line.find("[2,") != std::string::npos) {
                groups.insert(path);
            } else if (from != std::string::npos && line.find("\"Free\"") != std::string::npos) {
                groups.erase(path);
                fewest = std::min(fewest, groups.size());
            }
        }
        return fewest;
    }
    // Starts a device (the program dns_sd_side) on a machine. name: the device's name in the calls of this class.
    void StartSide(const std::string& machine, const std::string& name, const std::string& listening,
                   const std::string& token)
    {
        fifos_.erase(name);
        std::filesystem::remove(File(name + ".fifo"));
        mkfifo(File(name + ".fifo").c_str(), 0600);
        Begin(machine, name, {DNS_SD_SIDE, Address(machine), File(name + ".fifo"), listening, token});
        fifos_[name].open(File(name + ".fifo"), std::ios::in | std::ios::out);
    }
    void Command(const std::string& name, const std::string& line) { fifos_.at(name) << line << std::endl; }
    void Signal(const std::string& name, int signal) { processes_.at(name)->Signal(signal); }
    void Kill(const std::string& name) { processes_.erase(name); }
    int Wait(const std::string& name) { return processes_.at(name)->Wait(); }
    std::string Output(const std::string& name) const { return EndToEnd::ReadText(File(name + ".log")); }

    // Reads the device's output. Returns the announcements that the device currently knows. A key is the name of a
    // "heard" line. Its value is the rest of that line ("TOKEN ADDRESS...").
    std::map<std::string, std::string> Known(const std::string& name) const
    {
        std::map<std::string, std::string> known;
        std::istringstream lines(Output(name));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string what, where, rest;
            words >> what >> where;
            std::getline(words, rest);
            if (what == "heard") {
                known[where] = rest.empty() ? rest : rest.substr(1);
            } else if (what == "gone") {
                known.erase(where);
            }
        }
        return known;
    }
    // Waits until the device knows exactly the wanted announcements. Returns how long the wait took. wanted: sorted
    // texts of the form "TOKEN ADDRESS".
    std::chrono::milliseconds AwaitKnown(const std::string& name, const std::vector<std::string>& wanted) const
    {
        const auto begin = std::chrono::steady_clock::now();
        const auto matches = [&] {
            std::vector<std::string> now;
            for (const auto& [where, rest] : Known(name)) {
                now.push_back(rest);
            }
            std::sort(now.begin(), now.end());
            return now == wanted;
        };
        EXPECT_TRUE(EndToEnd::Eventually(matches)) << name << ":\n" << Output(name);
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    }

private:
    std::string File(const std::string& name) const { return (folder_.Path() / name).string(); }
    static Words With(Words words, const Words& more)
    {
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    Words Enter(const std::string& machine, bool wholly = true) const
    {
        Words words{"/usr/bin/nsenter", "--target", std::to_string(processes_.at(machine)->Pid())};
        if (geteuid() != 0) {
            words = With(words, {"--user", "--preserve-credentials"});
        }
        return With(words, wholly ? Words{"--net", "--mount", "--"} : Words{"--"});
    }
    void Begin(const std::string& machine, const std::string& name, const Words& command)
    {
        processes_.erase(name);
        std::filesystem::remove(File(name + ".log"));
        processes_[name] = std::make_unique<EndToEnd::Process>(
            With(With(Enter(machine), {"/usr/bin/setpriv", "--pdeathsig", "KILL"}), command), File(name + ".log"));
    }

    const TempFolder folder_;
    std::map<std::string, std::fstream> fifos_;
    std::map<std::string, std::unique_ptr<EndToEnd::Process>> processes_;
};

}  // namespace Vexo::Tests
