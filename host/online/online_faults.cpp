#include "host/online/online_faults.h"

#include <algorithm>
#include <cctype>

#include "interfaces/online_answers_json.h"
#include "platform/base/text.h"
#include "platform/wifi/station.h"

namespace Vexo::Host {
namespace {

using Code = OnlineFaultCode;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr const char* CLOSE_AND_RETRY = "On {device}: switch its hotspot off, then `distnetctl up` here";

// If the clocks of two devices differ by at least this much, the clocks are the likely cause of a refused certificate.
constexpr std::chrono::minutes FAR_CLOCK{30};
// A device that cannot open its hotspot answers within this time. An error that comes later means that no answer
// arrived.
constexpr seconds ANSWER_LIMIT{3};

// Result codes of the service (docs/distnetctl.md).
constexpr int32_t CODE_NOT_WOKEN = 1004500002;
constexpr int32_t CODE_LINK = 1004500003;
constexpr int32_t CODE_NO_ANSWER = 1004500116;
constexpr int32_t CODE_GENERAL = 2200003;

}  // namespace

const std::array<OnlineFaultRow, ONLINE_FAULT_COUNT> ONLINE_FAULTS{{
    {Code::FAILED, "getting online failed{why}", "See the daemon's log: sudo journalctl -u distnet", 1},
    {Code::WIFI_OFF, "this device's Wi-Fi is switched off", "Switch it on: nmcli radio wifi on", 1},
    {Code::WIFI_BLOCKED, "this device's Wi-Fi is blocked by a switch or key of the machine",
     "Use the switch, or: sudo rfkill unblock wifi", 1},
    {Code::WIFI_ABSENT, "this device has no Wi-Fi",
     "Attach a Wi-Fi adapter; if there is one: sudo systemctl start NetworkManager", 1},
    {Code::NO_ACCOUNT, "this device is in no account",
     "Make one, or join one: sudo distnetctl account create NAME; sudo distnetctl account join", 1},
    {Code::REMOVED, "this device was removed from its account{why}",
     "To use it again: `sudo distnetctl account leave`, then join with a new ticket", 1},
    {Code::WRONG_CLOCK, "{device} does not accept this device's certificate{why}",
     "Set the clock that is wrong; on this device: sudo timedatectl set-ntp true", 1},
    {Code::BUSY, "getting online is under way already{why}", "Wait for it, or end it: distnetctl down", 1},
    {Code::NO_SERVICE, "the daemon could not start its service",
     "See what is wrong: distnetctl doctor; sudo journalctl -u distnet", 1},
    {Code::NO_DEVICES, "no other device of this account is known",
     "Bring one near this device, then look for it: distnetctl devices --scan", 1},
    {Code::UNKNOWN_DEVICE, "no device of this account is {why}", "List the devices: distnetctl devices", 1},
    {Code::AWAY, "{device} is away{why}",
     "Bring {device} near this device, or into one network with it, and see that DistNet runs there", 1},
    {Code::UNREACHABLE, "{device} announces itself, but could not be reached{why}",
     "See what was tried: distnetctl doctor", 1},
    {Code::NOT_ALLOWED, "the owner of {device} does not allow this device{why}",
     "On {device}: distnetctl share allow, with this device's name", 1},
    {Code::OWNER_ASKED, "the owner of {device} is being asked",
     "On {device}: distnetctl share requests. Then `distnetctl up` here", 1},
    {Code::NOT_ANSWERED, "the owner of {device} has denied or ignored this device's request",
     "On {device}: distnetctl share allow, with this device's name. The owner is not asked again for 10 minutes", 1},
    {Code::BATTERY_FLOOR, "the battery of {device} is below what its owner allows{why}", "Charge {device}", 1},
    {Code::DATA_LIMIT, "{device} has reached its owner's data limit of this month",
     "On {device}: distnetctl share status shows the limit", 1},
    {Code::PEER_WIFI_OFF, "the Wi-Fi of {device} is switched off",
     "On {device}: switch Wi-Fi on, then `distnetctl up` here", 1},
    {Code::PEER_WIFI_BLOCKED, "the Wi-Fi of {device} is blocked by a switch or key of that device",
     "On {device}: use the switch, or: sudo rfkill unblock wifi. Then `distnetctl up` here", 1},
    {Code::PEER_NO_HOTSPOT, "{device} has no radio that can open a hotspot", "Use another device: distnetctl devices",
     1},
    {Code::HOTSPOT_FAILED, "{device} did not open its hotspot{why}", "On {device}: distnetctl doctor", 1},
    {Code::NO_ANSWER, "{device} did not answer the request for its hotspot{why}",
     "Wake {device} up, then `distnetctl up` here", 1},
    {Code::NOT_VISIBLE, "the hotspot of {device} is not visible here{why}",
     "Bring the two devices closer together, then `distnetctl up` here", 1},
    {Code::SECURITY_DIFFERS, "the hotspot of {device} has another security type than {device} announced{why}",
     CLOSE_AND_RETRY, 1},
    {Code::WRONG_KEY, "the hotspot of {device} refused the key that {device} sent{why}", CLOSE_AND_RETRY, 1},
    {Code::NO_IP_ADDRESS, "the network of {device} gave this device no address", CLOSE_AND_RETRY, 1},
    {Code::JOIN_FAILED, "this device did not join the network of {device}{why}",
     "Try again: distnetctl up. The daemon's log says more: sudo journalctl -u distnet", 1},
    {Code::NO_INTERNET, "{device} has no internet{why}",
     "On {device}: see that it is online itself, then `distnetctl up` here", 1},
    {Code::CANCELLED, "getting online was cancelled{why}", "To try again: distnetctl up", 130},
    {Code::TIMED_OUT, "the limit of --timeout was too short to get online",
     "Allow more: distnetctl --timeout SECONDS up", 5},
}};

namespace {

std::string Filled(std::string text, const std::string& place, const std::string& value)
{
    for (size_t at = text.find(place); at != std::string::npos; at = text.find(place, at + value.size())) {
        text.replace(at, place.size(), value);
    }
    return text;
}

// Returns the end of "did not answer over …": the transport that was tried first, and "or any other transport".
std::string TriedTransportsText(const KnownDevice& device)
{
    return (device.transport == "bluetooth" ? std::string("Bluetooth")
                                            : "the LAN" + (device.address.empty() ? "" : " at " + device.address)) +
           " or any other transport";
}

std::string ClockText(milliseconds clockAhead)
{
    return ": its clock is " + RoughDuration(duration_cast<seconds>(abs(clockAhead))) +
           (clockAhead.count() > 0 ? " ahead of" : " behind") + " this device's";
}

}  // namespace

OnlineFault MakeFault(OnlineFaultCode code, const FaultDevice& device, const std::string& why)
{
    const OnlineFaultRow& row = ONLINE_FAULTS.at(static_cast<size_t>(code));
    const std::string name = device.name.empty() ? ShortId(device.networkId) : device.name;
    return {code, device.networkId, device.name, Filled(Filled(row.message, "{why}", why), "{device}", name),
            Filled(row.advice, "{device}", name)};
}

OnlineFault MakeFault(OnlineFaultCode code, const std::string& why)
{
    return MakeFault(code, FaultDevice{}, why);
}

std::string EventWord(OnlineFaultCode code)
{
    std::string word = NameOf(ONLINE_FAULT_CODE_NAMES, code);
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::toupper(c); });
    return word;
}

OnlineFault NotReached(const KnownDevice& device, std::chrono::sys_seconds now)
{
    const FaultDevice named{device.networkId, device.name};
    const std::string silent = "did not answer over " + TriedTransportsText(device);
    if (abs(device.clockAhead) >= FAR_CLOCK) {
        return MakeFault(Code::WRONG_CLOCK, named, ClockText(device.clockAhead));
    }
    if (device.online) {
        return MakeFault(Code::UNREACHABLE, named, ": it " + silent);
    }
    const seconds passed = std::max(now - device.lastSeen, seconds(0));
    return MakeFault(Code::AWAY, named, " since " + RoughDuration(passed) + ", and " + silent);
}

OnlineFault FaultOf(SoftBus::PeerRefusal refusal, const FaultDevice& device)
{
    using SoftBus::PeerRefusal;
    switch (refusal) {
        case PeerRefusal::NOT_ALLOWED:
            return MakeFault(Code::NOT_ALLOWED, device);
        case PeerRefusal::OWNER_ASKED:
            return MakeFault(Code::OWNER_ASKED, device);
        case PeerRefusal::NOT_ANSWERED:
            return MakeFault(Code::NOT_ANSWERED, device);
        case PeerRefusal::BATTERY_FLOOR:
            return MakeFault(Code::BATTERY_FLOOR, device);
        case PeerRefusal::DATA_LIMIT:
            return MakeFault(Code::DATA_LIMIT, device);
        case PeerRefusal::NONE:
            break;
    }
    return MakeFault(Code::FAILED, device);
}

std::optional<OnlineFault> FaultOf(const DeviceFacts& facts, const FaultDevice& device)
{
    switch (facts.obstacle) {
        case SharingObstacle::WIFI_OFF:
            return MakeFault(Code::PEER_WIFI_OFF, device);
        case SharingObstacle::WIFI_BLOCKED:
            return MakeFault(Code::PEER_WIFI_BLOCKED, device);
        case SharingObstacle::NO_HOTSPOT:
            return MakeFault(Code::PEER_NO_HOTSPOT, device);
        case SharingObstacle::NONE:
            break;
    }
    switch (facts.permission) {
        case SharingPermission::NOT_ALLOWED:
            return MakeFault(Code::NOT_ALLOWED, device);
        case SharingPermission::NOT_ANSWERED:
            return MakeFault(Code::NOT_ANSWERED, device);
        case SharingPermission::BATTERY_FLOOR: {
            const auto percent = facts.batteryPercent;
            return MakeFault(Code::BATTERY_FLOOR, device, percent ? ": " + std::to_string(*percent) + " %" : "");
        }
        case SharingPermission::DATA_LIMIT:
            return MakeFault(Code::DATA_LIMIT, device);
        case SharingPermission::ALLOWED:
        case SharingPermission::ASKS:
            break;
    }
    return std::nullopt;
}

OnlineFault HotspotFault(int32_t code, milliseconds took, const KnownDevice& device)
{
    const FaultDevice named{device.networkId, device.name};
    const std::string shown = " (code " + std::to_string(code) + ")";
    if (abs(device.clockAhead) >= FAR_CLOCK) {
        return MakeFault(Code::WRONG_CLOCK, named, ClockText(device.clockAhead));
    }
    if (code == CODE_GENERAL) {
        OnlineFault fault = MakeFault(Code::NO_SERVICE, named);
        fault.message += ", or it does not know " + (device.name.empty() ? "that device" : device.name) + shown;
        return fault;
    }
    if (code == CODE_NOT_WOKEN) {
        return MakeFault(Code::UNREACHABLE, named, shown);
    }
    if (code == CODE_NO_ANSWER || (code == CODE_LINK && took >= ANSWER_LIMIT)) {
        return MakeFault(Code::NO_ANSWER, named, " within " + RoughDuration(duration_cast<seconds>(took)) + shown);
    }
    return MakeFault(Code::HOTSPOT_FAILED, named, shown);
}

OnlineFault JoinFault(const std::string& failure, const std::string& reason, const FaultDevice& device)
{
    namespace Words = Wifi::JoinFailure;
    struct Row {
        const char* word;
        Code code;
    };
    static constexpr Row ROWS[] = {
        {Words::NOT_VISIBLE, Code::NOT_VISIBLE},     {Words::SECURITY_DIFFERS, Code::SECURITY_DIFFERS},
        {Words::KEY_NEEDED, Code::SECURITY_DIFFERS}, {Words::WRONG_KEY, Code::WRONG_KEY},
        {Words::NOT_ADMITTED, Code::WRONG_KEY},      {Words::NO_IP_ADDRESS, Code::NO_IP_ADDRESS},
        {Words::WIFI_OFF, Code::WIFI_OFF},
    };
    const auto* const row =
        std::find_if(std::begin(ROWS), std::end(ROWS), [&](const Row& candidate) { return failure == candidate.word; });
    return MakeFault(row != std::end(ROWS) ? row->code : Code::JOIN_FAILED, device,
                     reason.empty() ? "" : ": " + reason);
}

OnlineFault NoInternet(const std::optional<DeviceFacts>& facts, const FaultDevice& device)
{
    const std::string name = device.name.empty() ? ShortId(device.networkId) : device.name;
    if (facts && facts->isMobileDataOff) {
        OnlineFault fault = MakeFault(Code::NO_INTERNET, device, ": its mobile data is switched off");
        fault.advice = "On " + name + ": switch mobile data on, then `distnetctl up` here";
        return fault;
    }
    const bool isAlone = facts && facts->uplink == UplinkKind::NONE;
    return MakeFault(Code::NO_INTERNET, device,
                     isAlone ? ": it has no other network itself" : ": its network has no internet access");
}

}  // namespace Vexo::Host
