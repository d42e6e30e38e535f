// World: simulated devices for one test. They share one folder with an account, the folder "air" (the simulated radio)
// and the folder "link" (announcements). Each device is a real distnetd, which the test uses through the client library
// and distnetctl. The destructor searches all files of the world. It fails the test if a Wi-Fi key or a private key was
// written to a file that must not contain keys.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "client/distnet_client.h"
#include "tests/end_to_end/process.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace Vexo::EndToEnd {

inline constexpr const char* NATIVE_POLICY = R"("token_type": "native", "system_app": true)";

class Device {
public:
    // Creates the state folder of the device and gives the device a hotspot key that no other device has.
    Device(std::filesystem::path world, std::string name);
    // Kills the daemon. Fails the test if the daemon's log contains a sanitizer report.
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // Sets the program that Start() runs instead of distnetd.
    void SetProgram(std::string program) { program_ = std::move(program); }
    // From its next start, the device uses only the device configuration that WriteProductFile() wrote. It does not use
    // the shipped one.
    void OmitShippedFiles() { hasShippedFiles_ = false; }
    // Adds members to the configuration of the daemon from its next start, such as "log": {"level": "error"}.
    void AddSettings(const std::string& members) { settings_ += ", " + members; }
    // Writes the configuration of the daemon, starts the daemon and waits until the daemon answers.
    void Start();
    // Writes a file of the device configuration, which replaces the shipped file. Returns the path of the written file.
    std::filesystem::path WriteProductFile(const std::string& name, const std::string& text) const;
    // Stop() sends SIGTERM to the daemon, waits for its end and returns its exit code. Kill() ends the daemon at once.
    int Stop();
    void Kill();
    Process& Daemon() { return *daemon_; }
    bool Runs() const { return daemon_ != nullptr; }

    const std::string& Name() const { return name_; }
    std::string NetworkId() const;
    std::filesystem::path StateDir() const { return world_ / name_; }
    std::filesystem::path Identity() const { return StateDir() / "identity"; }
    const std::string& HotspotKey() const { return hotspotKey_; }
    std::string Socket() const { return (StateDir() / "ipc.sock").string(); }
    std::string Log() const { return ReadText(StateDir() / "daemon.log"); }
    std::string Events() const { return ReadText(StateDir() / "events.jsonl"); }

    // Returns null if the daemon does not answer.
    std::unique_ptr<Client::DistNetClient> Connect() const;
    // Requests the hotspot of the device with this network id. Returns the code of the service. If the call failed,
    // returns the CallStatus with a minus sign.
    int32_t Ask(const std::string& networkId) const;
    // Runs distnetctl for the daemon of this device.
    Finished Ctl(std::vector<std::string> arguments) const;
    // Runs distnetctl sim set with these assignments, such as "screen=off". The daemon applies the change soon after.
    void Set(const std::vector<std::string>& assignments) const;
    // Returns the value of a member of the daemon's status as text. The key is a dotted name, such as "wifi.state".
    // Returns an empty text if there is no such member.
    std::string Status(const std::string& key) const;
    int Count(const std::string& key) const;
    bool Sees(const std::string& networkId) const;
    // Makes the daemon scan, and then returns the result of Sees().
    bool Finds(const std::string& networkId) const;

private:
    const std::filesystem::path world_;
    const std::string name_;
    const std::string hotspotKey_;
    std::string program_;
    bool hasShippedFiles_ = true;
    std::string settings_;
    std::unique_ptr<Process> daemon_;
};

// Returns true if a device without problems also logs this error line. Such lines come from sessions that the other
// side opened, and from the loader of the device configuration.
bool IsUsualError(const std::string& line);

class World {
public:
    World();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // Sets the access policy for all daemons that start later. The policy's first entry is for the user who runs the
    // test. members: the other members of that entry. Without this call, NATIVE_POLICY is used.
    void SetPolicy(const std::string& members) const;
    // Adds a key that the test itself uses. The destructor searches for this key as for the keys of the devices.
    void KeepSecret(const std::string& key) { secrets_.push_back(key); }

    // Creates a device that is not enrolled.
    Device& AddUnenrolled(const std::string& name);
    // Enrols a device through files, as distnetctl does. The device laptop creates the account and admits the other
    // devices.
    void Enrol(const Device& device) const;
    // Creates a device and enrols it in the account.
    Device& Add(const std::string& name);
    // Adds the devices laptop and phone, starts both and waits until they see each other.
    void StartLaptopAndPhone();
    static bool Found(const Device& one, const Device& other);

    Device& operator[](const std::string& name) { return *devices_.at(name); }
    const std::filesystem::path& Path() const { return folder_.Path(); }

private:
    const Tests::TempFolder folder_;
    const Tests::LogCapture log_;  // log lines of devices inside the test process
    std::vector<std::string> secrets_;
    std::map<std::string, std::unique_ptr<Device>> devices_;
};

}  // namespace Vexo::EndToEnd
