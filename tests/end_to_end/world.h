// A world of simulated devices for one test: a folder with an account, an air and a link that its devices share. Each
// device is a real distnetd, reached through the client library and distnetctl. At its end a world looks through all
// that was written below its folder: the test fails when a Wi-Fi key or a private key stands where it has no place.
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
    // Makes its state folder, with a hotspot key of its own.
    Device(std::filesystem::path world, std::string name);
    // Ends the daemon. Fails the test when a sanitizer has spoken in its log.
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // What Start runs instead of distnetd.
    void SetProgram(std::string program) { program_ = std::move(program); }
    // From its next start on it has only what WriteProductFile wrote, without the device configuration that is shipped.
    void OmitShippedFiles() { hasShippedFiles_ = false; }
    // Writes its configuration and starts its daemon.
    void Start();
    // A file of its device configuration, in place of the shipped one.
    std::filesystem::path WriteProductFile(const std::string& name, const std::string& text) const;
    // Ends the daemon: by SIGTERM, waiting for its exit code; or at once.
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

    // Null when the daemon does not answer.
    std::unique_ptr<Client::DistNetClient> Connect() const;
    // Asks that device for its hotspot: the service's code, or minus the CallStatus.
    int32_t Ask(const std::string& networkId) const;
    // distnetctl with this device's socket.
    Finished Ctl(std::vector<std::string> arguments) const;
    // distnetctl sim set KEY=VALUE…; the daemon follows soon after.
    void Set(const std::vector<std::string>& assignments) const;
    // A member of the host's status, dotted ("wifi.state", "service"); numbers as text, empty when absent.
    std::string Status(const std::string& key) const;
    int Count(const std::string& key) const;
    bool Sees(const std::string& networkId) const;
    // The same after a scan.
    bool Finds(const std::string& networkId) const;

private:
    const std::filesystem::path world_;
    const std::string name_;
    const std::string hotspotKey_;
    std::string program_;
    bool hasShippedFiles_ = true;
    std::unique_ptr<Process> daemon_;
};

// Whether a healthy device logs this line at error level too: of a session that the other side opened, and of device
// configuration, which its loader reads and does not hand on.
bool IsUsualError(const std::string& line);

class World {
public:
    World();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // Whom daemons that start from now on let in: the rest of the policy's entry for this user. NATIVE_POLICY unless
    // set.
    void SetPolicy(const std::string& members) const;
    // A key that the test plays with, besides those of its devices: none may be written in the clear.
    void KeepSecret(const std::string& key) { secrets_.push_back(key); }

    // Makes a device.
    Device& AddUnenrolled(const std::string& name);
    // By files, as distnetctl does: laptop makes the account, and admits the others.
    void Enrol(const Device& device) const;
    // Makes a device and enrols it.
    Device& Add(const std::string& name);
    // Adds laptop and phone, starts both and waits until they have found each other.
    void StartLaptopAndPhone();
    static bool Found(const Device& one, const Device& other);

    Device& operator[](const std::string& name) { return *devices_.at(name); }
    const std::filesystem::path& Path() const { return folder_.Path(); }

private:
    const Tests::TempFolder folder_;
    const Tests::LogCapture log_;  // of the devices that the test plays itself
    std::vector<std::string> secrets_;
    std::map<std::string, std::unique_ptr<Device>> devices_;
};

}  // namespace Vexo::EndToEnd
