// CommonUtils: permission checks of the caller of a remote request, anonymised identifiers for logs and events, and a
// string splitter. Any thread; nothing blocks. The checks ask about the caller of the transaction that the thread runs
// (platform/ipc/ipc_skeleton.h).
#pragma once

#include <string>
#include <vector>

namespace Vexo::NetManagerStandard::CommonUtils {

// True when the caller holds the permission. A native process holds every permission; an application needs a privilege
// level of system basic or system core besides the grant; anyone else (a shell) holds none. A refusal is logged.
bool CheckPermission(const std::string& strPermission);

// As CheckPermission, but the first verdict about a caller stands for the life of the process. The cache knows the
// caller's token alone: whatever permission was asked about first decides for every permission asked about later.
bool CheckPermissionWithCache(const std::string& strPermission);

// The bytes of input as decimal numbers (signed, 8 bit), one after the other, with the last six characters masked:
// "abcd" gives "979******". Throws std::out_of_range when that text has fewer than six characters; identifiers of the
// platform have 64.
std::string GetAnonymousStr(const std::string& input);

// The first and last five characters around "**"; "***" for an identifier of fewer than ten.
std::string GetAnonymousDeviceID(const std::string& deviceId);

// The parts of str between separators; an empty last part is dropped, so "a,b," gives two. sep must not be empty.
std::vector<std::string> Split(const std::string& str, const std::string& sep);

}  // namespace Vexo::NetManagerStandard::CommonUtils
