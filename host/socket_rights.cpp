#include "host/socket_rights.h"

#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <string>

#include "platform/base/user_database.h"

namespace Vexo::Host {
namespace {

using namespace QuviewDFX;

constexpr mode_t ALL_RIGHTS = 07777;

// The users that can connect to the socket, besides root and the socket's owner.
struct SocketAccess {
    bool everyone = true;
    bool group = true;  // whether the members of groupName can connect
    std::string owner;
    std::string groupName;  // name of the socket's group
};

std::string OctalOf(mode_t mode)
{
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode & ALL_RIGHTS));
    return text.data();
}

// Returns who can connect to the socket. A user needs the right to write to the socket and to search each folder above
// it (unix(7)).
SocketAccess AccessOf(const std::filesystem::path& socket, const struct stat& status)
{
    SocketAccess access{(status.st_mode & S_IWOTH) != 0, (status.st_mode & S_IWGRP) != 0, UserName(status.st_uid),
                        GroupName(status.st_gid)};
    const std::filesystem::path absolute = std::filesystem::absolute(socket);
    for (std::filesystem::path folder = absolute.parent_path();; folder = folder.parent_path()) {
        struct stat above {};
        if (::stat(folder.c_str(), &above) == 0) {
            const bool open = (above.st_mode & S_IXOTH) != 0;
            access.everyone = access.everyone && open;
            access.group = access.group && (above.st_gid == status.st_gid ? (above.st_mode & S_IXGRP) != 0 : open);
        }
        if (folder == folder.parent_path()) {
            return access;
        }
    }
}

// Returns the first user or group that the policy admits but that cannot reach the socket, or an empty text if there is
// none.
std::string FindShutOut(const Security::AccessPolicy& policy, const SocketAccess& access)
{
    for (const Security::PolicyEntry& entry : policy.entries) {
        const bool isRoot = entry.user == "root" || entry.user == "0" || entry.user == access.owner;
        const bool inGroup = !entry.group.empty() && entry.group == access.groupName && access.group;
        if (entry.tokenType != Security::TOKEN_SHELL && !access.everyone && !isRoot && !inGroup) {
            return entry.user.empty() ? "group " + entry.group : "user " + entry.user;
        }
    }
    return "";
}

std::string ConnectText(const SocketAccess& access)
{
    if (access.everyone) {
        return "every user may connect, the policy decides";
    }
    std::string who = access.owner == "root" ? "root" : "root and " + access.owner;
    return "only " + who + (access.group ? " and group " + access.groupName : "") + " can connect";
}

}  // namespace

HealthCheck CheckSocket(const Configuration& configuration, const Security::AccessPolicy& policy)
{
    const std::string path = configuration.ipcSocket.string();
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) {
        return Unhealthy("socket", path + " is no longer there", "Restart the daemon: systemctl restart distnet");
    }
    const mode_t wanted = configuration.ipcSocketMode;
    if ((status.st_mode & ALL_RIGHTS) != wanted) {
        return Unhealthy("socket",
                         path + " has mode " + OctalOf(status.st_mode) + ", but ipc.socket_mode is " + OctalOf(wanted),
                         "Set it back: chmod " + OctalOf(wanted) + " " + path);
    }
    const SocketAccess access = AccessOf(configuration.ipcSocket, status);
    const std::string out = configuration.accessPolicy.empty() ? "" : FindShutOut(policy, access);
    if (!out.empty()) {
        return Unhealthy("socket", "the policy lets " + out + " in, but " + ConnectText(access) + " to " + path,
                         "Set ipc.socket_mode to \"0666\", and ipc.socket to a path in a folder that they can enter");
    }
    return Healthy("socket", path + " (" + OctalOf(status.st_mode) + "): " + ConnectText(access));
}

}  // namespace Vexo::Host
