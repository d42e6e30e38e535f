// PrivateMachine: a D-Bus bus for one test. The test starts the daemons of a Linux machine on this bus: the real
// ModemManager with scripted modems, and mocks of the other daemons. A program that the test starts uses the bus of the
// latest PrivateMachine as its system bus and session bus. The destructor stops all processes.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "backends/linux/bus.h"
#include "tests/end_to_end/process.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Tests {

class PrivateMachine {
public:
    PrivateMachine()
    {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", Address().c_str(), 1);
        setenv("DBUS_SESSION_BUS_ADDRESS", Address().c_str(), 1);
        std::ofstream(folder_.Path() / "bus.conf")
            << "<busconfig><type>session</type><listen>" << Address() << "</listen><policy context=\"default\">"
            << R"(<allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>)";
        StartBus();
        bus_ = Linux::Bus::Open(Address());
    }

    std::string Address() const { return "unix:path=" + (folder_.Path() / "bus").string(); }
    const std::filesystem::path& Folder() const { return folder_.Path(); }
    // Returns the test's own connection to the bus.
    Linux::Bus& Bus() { return *bus_; }
    // Calls a D-Bus method and ignores its return value. Fails the test if the call fails.
    void Call(const Linux::BusObject& object, const std::string& method, const auto&... arguments)
    {
        const Result<void> called = bus_->Call(object, method, Linux::BUS_CALL_LIMIT, arguments...);
        ASSERT_TRUE(called) << method << ": " << called.error().message;
    }

    void StartBus()
    {
        Start("bus", {"/usr/bin/dbus-daemon", "--nofork", "--nosyslog", "--print-address",
                      "--config-file=" + (folder_.Path() / "bus.conf").string()});
        // dbus-daemon prints its address as soon as it accepts connections.
        EXPECT_TRUE(EndToEnd::Eventually([&] { return Output("bus").find('\n') != std::string::npos; }))
            << Output("bus");
    }
    // Starts a mock of a daemon. Returns as soon as the mock owns the D-Bus name. name: a template of python-dbusmock.
    // service: the D-Bus name.
    void StartMock(const std::string& name, const std::string& service)
    {
        Start(name, {"/usr/bin/python3", "-m", "dbusmock", "--template", name});
        AwaitService(service, name);
    }
    void StartModemManager()
    {
        Start("ModemManager", {"/usr/sbin/ModemManager", "--test-session", "--test-no-udev", "--no-auto-scan",
                               "--test-enable", "--debug"});
        AwaitService("org.freedesktop.ModemManager1", "ModemManager");
    }
    // Adds a modem to ModemManager. sim: the SIM's answer to the query of its lock, such as "READY" or "SIM PIN".
    void AddModem(const std::string& name, const std::string& sim)
    {
        const std::string socket = "abstract:distnet-" + std::to_string(getpid()) + "-" + name;
        Start(name, {"/usr/bin/python3", SCRIPTED_MODEM, socket, sim});
        ASSERT_TRUE(EndToEnd::Eventually([&] { return Output(name).starts_with("listening"); })) << Output(name);
        Call({"org.freedesktop.ModemManager1", "/org/freedesktop/ModemManager1", "org.freedesktop.ModemManager1.Test"},
             "SetProfile", name, std::string("generic"), std::vector<std::string>{socket});
    }
    void End(const std::string& name)
    {
        processes_.erase(name);
        if (name == "bus") {
            std::filesystem::remove(folder_.Path() / "bus");
        }
    }
    std::string Output(const std::string& name) { return processes_.at(name)->Output(); }

    // Starts a program and does not wait for its end. Output(name) returns the program's output.
    void Start(const std::string& name, const std::vector<std::string>& command)
    {
        processes_[name] = std::make_unique<EndToEnd::Process>(command, folder_.Path() / (name + ".log"));
    }
    void AwaitService(const std::string& service, const std::string& name)
    {
        const bool isPresent = EndToEnd::Eventually([&] {
            const Linux::BusObject dbus{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"};
            const Result<bool> owned = bus_->Call<bool>(dbus, "NameHasOwner", Linux::BUS_CALL_LIMIT, service);
            return owned && owned.value();
        });
        EXPECT_TRUE(isPresent) << Output(name);
    }

private:
    const TempFolder folder_;
    std::map<std::string, std::unique_ptr<EndToEnd::Process>> processes_;
    std::shared_ptr<Linux::Bus> bus_;
};

}  // namespace Vexo::Tests
