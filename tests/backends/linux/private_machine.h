// PrivateMachine: a bus of a test's own, on which it starts and ends the daemons that a Linux machine would run: the
// real ModemManager with scripted modems, and mocks of the others. Programs of a test see this bus as the system's and
// the session's, so there is one such machine in a test program at a time. Everything ends with it.
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
    // A connection of the test's own.
    Linux::Bus& Bus() { return *bus_; }
    // A call that must succeed, whatever it returns.
    void Call(const Linux::BusObject& object, const std::string& method, const auto&... arguments)
    {
        const Result<void> called = bus_->Call(object, method, Linux::BUS_CALL_LIMIT, arguments...);
        ASSERT_TRUE(called) << method << ": " << called.error().message;
    }

    void StartBus()
    {
        Start("bus", {"/usr/bin/dbus-daemon", "--nofork", "--nosyslog", "--print-address",
                      "--config-file=" + (folder_.Path() / "bus.conf").string()});
        // It prints its address once it listens there.
        EXPECT_TRUE(EndToEnd::Eventually([&] { return Output("bus").find('\n') != std::string::npos; }))
            << Output("bus");
    }
    // dbusmock's stand-in; returns when it answers for the service.
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
    // Gives ModemManager a modem whose SIM says that ("READY", "SIM PIN") when asked whether it is locked.
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

    // Starts a program whose output is Output(name); returns at once.
    void Start(const std::string& name, const std::vector<std::string>& command)
    {
        processes_[name] = std::make_unique<EndToEnd::Process>(command, folder_.Path() / (name + ".log"));
    }
    void AwaitService(const std::string& service, const std::string& name)
    {
        const bool isThere = EndToEnd::Eventually([&] {
            const Linux::BusObject dbus{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"};
            const Result<bool> owned = bus_->Call<bool>(dbus, "NameHasOwner", Linux::BUS_CALL_LIMIT, service);
            return owned && owned.value();
        });
        EXPECT_TRUE(isThere) << Output(name);
    }

private:
    const TempFolder folder_;
    std::map<std::string, std::unique_ptr<EndToEnd::Process>> processes_;
    std::shared_ptr<Linux::Bus> bus_;
};

}  // namespace Vexo::Tests
