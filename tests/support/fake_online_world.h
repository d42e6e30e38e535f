// FakeOnlineWorld: a fake of everything that the class Online uses. It contains other devices with their daemons, and
// the Wi-Fi and the network of this device. One trail records every call in order, such as "facts phone", "ask phone",
// "check phone", "lease phone", "release phone" and "leave 1". A test must prepare the fake before it is used. The
// function onCall runs inside each call.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/online/online.h"
#include "tests/support/manual_timers.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trail.h"

namespace Vexo::Tests {

struct FakeDevice {
    bool isReachable = true;  // the daemon of this device can reach the fake device
    bool isOld = false;       // the daemon knows no requests of other daemons
    bool holdsLease = true;
    bool releases = true;
    Host::DeviceFacts facts;
    int32_t serviceCode = 0;
    SoftBus::PeerRefusal refusal = SoftBus::PeerRefusal::NONE;  // the answer of the device's policy
    std::string joinFailure;                                    // a JoinFailure; empty: joining succeeds
    Network::OnlineVerdict verdict = Network::OnlineVerdict::ONLINE;
};

class FakeOnlineWorld : public Host::PeerLink,
                        public Wifi::StationControl,
                        public Network::NetworkMonitor,
                        public std::enable_shared_from_this<FakeOnlineWorld> {
public:
    // The class Online uses this object as its peer link, and shares ownership of the object.
    static std::shared_ptr<FakeOnlineWorld> Make() { return std::make_shared<FakeOnlineWorld>(); }

    TempFolder folder;
    ManualTimers timers;
    Trail<std::string> trail;
    std::map<std::string, FakeDevice> devices;  // the key is the name and the network id
    std::vector<Host::KnownDevice> known;
    Host::WifiStatus wifi{true, Host::RadioState::ON, Host::WifiState::IDLE, 0, "", "", "", ""};
    std::optional<Host::OnlineFault> whyNoAccount;
    std::function<void(const std::string& call)> onCall = [](const std::string&) {};
    std::weak_ptr<Host::Online> online;

    void AddDevice(const std::string& name, bool isReachable = true)
    {
        devices[name].isReachable = isReachable;
        Host::KnownDevice device;
        device.name = name;
        device.networkId = name;
        device.online = isReachable;
        device.lastSeen = std::chrono::floor<std::chrono::seconds>(timers.WallNow()) - std::chrono::hours(2);
        device.transport = "tcp";
        known.push_back(device);
    }

    std::shared_ptr<Host::Online> Start()
    {
        Host::OnlineOptions options;
        options.stateDir = folder.Path();
        options.peers = shared_from_this();
        options.station = this;
        options.network = this;
        options.wifi = [this] { return Wifi(); };
        options.waitForWifi = [this](const Host::WifiStatus&, std::chrono::milliseconds limit) {
            Call("wait");
            timers.Advance(limit);
            return Wifi();
        };
        options.devices = [this] { return known; };
        options.whyNoAccount = [this] { return whyNoAccount; };
        options.askService = [this](const std::string& id) { return AskService(id); };
        options.suggestAddress = [this](const std::string& id, const std::string& ipAddress) {
            const MutexLock lock(mutex_);
            suggested_[id] = ipAddress;
        };
        options.timers = &timers;
        const auto started = Host::Online::Start(std::move(options));
        online = started;
        return started;
    }

    // Changes a device of the fake. A test may call this while Online tries devices.
    void Change(const std::string& name, const std::function<void(FakeDevice&)>& change)
    {
        const MutexLock lock(mutex_);
        change(devices.at(name));
    }
    void Set(const Network::NetworkSituation& situation)
    {
        const MutexLock lock(mutex_);
        situation_ = situation;
    }
    void LoseNetwork()
    {
        const MutexLock lock(mutex_);
        joined_.reset();
        wifi.state = Host::WifiState::DISCONNECTED;
    }
    // Returns the IP address at which Online tries the device first. Returns an empty text if no address was suggested,
    // or if the suggestion was withdrawn.
    std::string Suggested(const std::string& id)
    {
        const MutexLock lock(mutex_);
        return suggested_[id];
    }
    // If isJoining is true, the Wi-Fi stays in the state CONNECTING after the request of the service.
    bool isJoining = false;

    Result<void> Begin() override { return {}; }
    void End() override {}
    Result<Host::PeerAnswer> Ask(const std::string& id, const Host::PeerRequest& request, SteadyTime,
                                 Host::Cancellation* cancellation) override
    {
        static constexpr const char* NAMES[] = {"facts ", "lease ", "release "};
        Call(NAMES[request.index()] + id);
        const FakeDevice device = Device(id);
        if (!device.isReachable || (cancellation != nullptr && cancellation->IsCancelled())) {
            return Fail(ErrorCode::UNAVAILABLE, "no way");
        }
        if (device.isOld) {
            return Host::PeerAnswer(Host::UnknownAnswer{});
        }
        if (request.index() == 0) {
            return Host::PeerAnswer(device.facts);
        }
        if (request.index() == 1) {
            return Host::PeerAnswer(Host::LeaseAnswer{device.holdsLease});
        }
        return device.releases ? Result<Host::PeerAnswer>(Host::ReleaseAnswer{true})
                               : Fail(ErrorCode::TIMED_OUT, "no answer");
    }

    std::optional<Wifi::JoinedNetwork> Joined() override
    {
        const MutexLock lock(mutex_);
        return joined_;
    }
    Result<Wifi::LeftNetwork> Leave(uint32_t attempt, std::chrono::milliseconds) override
    {
        Call("leave " + std::to_string(attempt));
        const MutexLock lock(mutex_);
        const bool isLatest = attempt == wifi.attempt;
        if (isLatest) {
            wifi.state = Host::WifiState::DISCONNECTED;
            joined_.reset();
        }
        return Wifi::LeftNetwork{isLatest, isLatest ? "office" : ""};
    }

    Network::Uplink CurrentUplink() override { return {}; }
    Network::Battery CurrentBattery() override { return {}; }
    Network::NetworkSituation Situation() override
    {
        const MutexLock lock(mutex_);
        return situation_;
    }
    void RequestScan() override {}
    void SetListener(std::function<void()>) override {}
    Network::OnlineVerdict CheckOnline(const Wifi::JoinedNetwork& network, SteadyTime,
                                       const std::function<bool()>&) override
    {
        Call("check " + network.ssid);
        return Device(network.ssid).verdict;
    }

private:
    FakeDevice Device(const std::string& name)
    {
        const MutexLock lock(mutex_);
        return devices.at(name);
    }
    void Call(const std::string& call)
    {
        trail.Add(call);
        onCall(call);
    }
    Host::WifiStatus Wifi()
    {
        const MutexLock lock(mutex_);
        return wifi;
    }
    Host::ServiceAnswer AskService(const std::string& id)
    {
        Call("ask " + id);
        const FakeDevice device = Device(id);
        if (device.refusal != SoftBus::PeerRefusal::NONE) {
            online.lock()->OnRefusedBy(id, device.refusal);
            return {true, 1004500002};
        }
        if (device.serviceCode != 0) {
            return {true, device.serviceCode};
        }
        const MutexLock lock(mutex_);
        ++wifi.attempt;
        wifi.ssid = id;
        wifi.failure = device.joinFailure;
        wifi.state = !device.joinFailure.empty() ? Host::WifiState::FAILED
                     : isJoining                 ? Host::WifiState::CONNECTING
                                                 : Host::WifiState::CONNECTED;
        if (wifi.state == Host::WifiState::CONNECTED) {
            joined_ = Wifi::JoinedNetwork{wifi.attempt,        id,           "WPA2",      "wlan0",
                                          "02:00:5e:10:00:01", "10.42.0.17", "10.42.0.1", {}};
        }
        return {true, 0};
    }

    Mutex mutex_;
    std::optional<Wifi::JoinedNetwork> joined_ GUARDED_BY(mutex_);
    Network::NetworkSituation situation_ GUARDED_BY(mutex_);
    std::map<std::string, std::string> suggested_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Tests
