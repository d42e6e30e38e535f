#include "backends/linux/bluetooth_advertiser.h"

#include <atomic>
#include <utility>
#include <vector>

namespace Vexo::Linux {
namespace {

constexpr const char* ADVERTISEMENT_PATH = "/distnet/advertisement";
// All channels of the process use this counter, because channels that share a bus connection need different object
// paths.
std::atomic<uint64_t> lastAdvertisement{0};

// The advertising interval. It lets a scanning device receive an advertisement within two seconds. A shorter interval
// would cost more power.
constexpr uint32_t MIN_INTERVAL_MS = 1000;
constexpr uint32_t MAX_INTERVAL_MS = 1200;

}  // namespace

Result<void> BluetoothAdvertiser::Update(const std::string& adapter, const std::optional<BluetoothServiceData>& data)
{
    if (adapter.empty() || !data) {
        Withdraw();
        return {};
    }
    if (current_ && current_->adapter != adapter) {
        Withdraw();
    }
    if (current_ && current_->data == *data) {
        return {};
    }
    Result<Advertisement> made = Register(adapter, *data);
    if (!made && current_) {
        // A controller with only one advertising slot accepts the new advertisement only after the old one has ended.
        Withdraw();
        made = Register(adapter, *data);
    }
    if (!made) {
        return Failure(made.error());
    }
    Withdraw();
    current_ = std::move(made).value();
    return {};
}

Result<BluetoothAdvertiser::Advertisement> BluetoothAdvertiser::Register(const std::string& adapter,
                                                                         const BluetoothServiceData& data)
{
    const std::string path = ADVERTISEMENT_PATH + std::to_string(++lastAdvertisement);
    const PropertyMap serviceData{{BLUETOOTH_SERVICE_UUID, sdbus::Variant(EncodeServiceData(data))}};
    Advertisement made{adapter, data, path,
                       bluez_.Connection().Export(strand_, {path,
                                                            BLUEZ_ADVERTISEMENT,
                                                            {{"Type", std::string("peripheral")},
                                                             {"ServiceData", serviceData},
                                                             {"MinInterval", MIN_INTERVAL_MS},
                                                             {"MaxInterval", MAX_INTERVAL_MS}},
                                                            {{"Release", [this, path] { OnReleased(path); }}}})};
    const Result<void> registered = bluez_.Call({BLUEZ, adapter, BLUEZ_ADVERTISING_MANAGER}, "RegisterAdvertisement",
                                                sdbus::ObjectPath(path), PropertyMap());
    if (!registered) {
        if (IsNoAnswer(registered.error())) {
            Unregister(adapter, path);
        }
        return Failure(registered.error());
    }
    return made;
}

void BluetoothAdvertiser::Unregister(const std::string& adapter, const std::string& path)
{
    // The error is ignored, because BlueZ reports an error if the advertisement has already ended.
    static_cast<void>(bluez_.CallForCleanUp({BLUEZ, adapter, BLUEZ_ADVERTISING_MANAGER}, "UnregisterAdvertisement",
                                            sdbus::ObjectPath(path)));
}

void BluetoothAdvertiser::OnReleased(const std::string& path)
{
    if (current_ && current_->path == path) {
        current_.reset();
        released_();
    }
}

void BluetoothAdvertiser::Withdraw()
{
    if (const auto ended = std::exchange(current_, std::nullopt)) {
        Unregister(ended->adapter, ended->path);
    }
}

}  // namespace Vexo::Linux
