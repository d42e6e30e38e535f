#include "platform/base/user_database.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <vector>

namespace Vexo {
namespace {

// Looks up a user or a group and returns one member of the record that was found.
// key: a name or a number. lookUp: a function such as getpwnam_r(3) or getgrnam_r(3).
template <typename Value, typename Record, typename Member, typename Key, typename LookUp>
std::optional<Value> Find(LookUp lookUp, Key key, Member Record::*member)
{
    constexpr size_t LARGEST_BUFFER = 1024 * 1024;
    Record record{};
    Record* found = nullptr;
    std::vector<char> buffer(4096);
    while (lookUp(key, &record, buffer.data(), buffer.size(), &found) == ERANGE && buffer.size() < LARGEST_BUFFER) {
        buffer.resize(buffer.size() * 2);
    }
    return found != nullptr ? std::optional<Value>(found->*member) : std::nullopt;
}

}  // namespace

std::optional<uid_t> FindUser(const std::string& name)
{
    return Find<uid_t>(::getpwnam_r, name.c_str(), &passwd::pw_uid);
}

std::optional<gid_t> FindGroup(const std::string& name)
{
    return Find<gid_t>(::getgrnam_r, name.c_str(), &group::gr_gid);
}

std::string UserName(uid_t user)
{
    return Find<std::string>(::getpwuid_r, user, &passwd::pw_name).value_or(std::to_string(user));
}

std::string GroupName(gid_t group)
{
    return Find<std::string>(::getgrgid_r, group, &::group::gr_name).value_or(std::to_string(group));
}

}  // namespace Vexo
