// IPCSkeleton: returns the identity of the current thread's caller. On a thread that runs a request, the caller is the
// client that sent the request. On any other thread, the caller is this process. The process id of a client comes from
// the kernel. A CallerScope sets another caller for its thread and restores the previous one when it is destroyed.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

#include "platform/base/nocopyable.h"

namespace Vexo {

// Credentials of a peer, as the kernel recorded them when the peer connected (unix(7), SO_PEERCRED and SO_PEERGROUPS).
struct PeerCredentials {
    pid_t pid = 0;
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;  // supplementary groups
};

struct CallerIdentity {
    pid_t pid = 0;
    uid_t uid = 0;
    uint32_t tokenId = 0;      // access token (platform/access/accesstoken_kit.h)
    uint64_t fullTokenId = 0;  // token id in the low half, attribute bits above
};

class IPCSkeleton {
public:
    static pid_t GetCallingPid();
    static uid_t GetCallingUid();
    static uint32_t GetCallingTokenID();
    static uint64_t GetCallingFullTokenID();

    // Sets the identity of this process, which is the caller on a thread that runs no request. The daemon calls this
    // function once at start.
    static void SetSelfIdentity(const CallerIdentity& identity);
    static CallerIdentity SelfIdentity();
};

// While this object exists, the functions of IPCSkeleton return the given identity on the thread that created it.
class CallerScope : public NoCopyable {
public:
    explicit CallerScope(const CallerIdentity& identity);
    ~CallerScope();

private:
    const CallerIdentity* previous_;
    CallerIdentity identity_;
};

}  // namespace Vexo
