#include "backends/simulated/device_state.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstring>

#include "backends/simulated/device_state_keys.h"
#include "platform/base/files.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Simulated {
namespace {

constexpr size_t MAX_STATE_FILE_BYTES = 64 * 1024;
constexpr mode_t STATE_FILE_MODE = 0600;  // it may contain the hotspot's key

// Locks the folder exclusively, so that reading and replacing the file cannot overlap with another update. Blocks while
// another process has the lock.
Result<UniqueFd> LockFolder(const std::filesystem::path& folder)
{
    UniqueFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    int locked = -1;
    if (fd) {
        do {
            locked = ::flock(fd.Get(), LOCK_EX);
        } while (locked != 0 && errno == EINTR);
    }
    if (locked != 0) {
        return Fail(ErrorCodeOf(errno), folder.string() + ": " + std::strerror(errno));
    }
    return fd;
}

}  // namespace

Result<DeviceState> ParseDeviceState(const std::string& json, const std::string& fileName)
{
    return DeviceStateKeys().Parse(json, fileName);
}

std::string SerializeDeviceState(const DeviceState& state)
{
    return DeviceStateKeys().Print(state);
}

Result<void> SetByPath(DeviceState& state, std::string_view key, std::string_view value)
{
    return DeviceStateKeys().SetTyped(state, key, value);
}

std::vector<DeviceStateEntry> DescribeDeviceState(const DeviceState& state)
{
    const JsonKeys<DeviceState>& keys = DeviceStateKeys();
    std::vector<DeviceStateEntry> entries;
    for (const JsonKey& key : keys.Keys()) {
        const std::string value = keys.Typed(key, state);
        std::string allowed = key.shape->allowed;
        std::erase(allowed, '"');  // a person types words without quotes
        entries.push_back({key.name, key.shape->isSecret ? (value.empty() ? "generated" : "set") : value,
                           std::move(allowed), key.meaning, value == keys.Typed(key, {}),
                           key.shape->isText || key.shape->isSecret});
    }
    return entries;
}

Result<DeviceState> LoadDeviceState(const std::filesystem::path& folder)
{
    return DeviceStateKeys().Load(folder / DEVICE_STATE_FILE, MAX_STATE_FILE_BYTES);
}

Result<void> SaveDeviceState(const std::filesystem::path& folder, const DeviceState& state)
{
    return WriteFileAtomically(folder / DEVICE_STATE_FILE, SerializeDeviceState(state), STATE_FILE_MODE);
}

Result<DeviceState> UpdateDeviceState(const std::filesystem::path& folder, const std::vector<std::string>& assignments)
{
    Result<UniqueFd> lock = LockFolder(folder);
    if (!lock) {
        return Failure(std::move(lock).error());
    }
    Result<DeviceState> state = LoadDeviceState(folder);
    if (!state) {
        return state;
    }
    for (const std::string& assignment : assignments) {
        const size_t equals = assignment.find('=');
        if (equals == std::string::npos) {
            return Fail(ErrorCode::INVALID_ARGUMENT, assignment + ": a value is missing (KEY=VALUE)");
        }
        if (equals == 0) {
            return Fail(ErrorCode::INVALID_ARGUMENT, "\"" + assignment + "\": a key is missing (KEY=VALUE)");
        }
        const std::string_view text(assignment);
        if (Result<void> set = SetByPath(state.value(), text.substr(0, equals), text.substr(equals + 1)); !set) {
            return Failure(std::move(set).error());
        }
    }
    if (Result<void> saved = SaveDeviceState(folder, state.value()); !saved) {
        return Failure(std::move(saved).error());
    }
    return state;
}

}  // namespace Vexo::Simulated
