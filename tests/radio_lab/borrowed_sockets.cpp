// A preload library. Bluetooth sockets come from the lender (socket_lender.cpp), whose socket path is in the
// environment variable LAB_SOCKET_LENDER; all other sockets come from the kernel. A borrowed socket works like one that
// the process has opened itself.
#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tests/radio_lab/descriptor_message.h"

namespace {

using Socket = int (*)(int, int, int);

int Fail(int error)
{
    errno = error;
    return -1;
}

int Receive(int lender, bool closeOnExec)
{
    int error = 0;
    DescriptorMessage message(&error, sizeof(error));
    if (recvmsg(lender, &message.header, closeOnExec ? MSG_CMSG_CLOEXEC : 0) <= 0) {
        return Fail(EIO);
    }
    const cmsghdr* header = CMSG_FIRSTHDR(&message.header);
    if (header == nullptr) {
        return Fail(error);
    }
    int borrowed = -1;
    memcpy(&borrowed, CMSG_DATA(header), sizeof(borrowed));
    return borrowed;
}

}  // namespace

extern "C" int socket(int domain, int type, int protocol)
{
    static const auto make = reinterpret_cast<Socket>(dlsym(RTLD_NEXT, "socket"));
    const char* path = getenv("LAB_SOCKET_LENDER");
    if (domain != AF_BLUETOOTH || path == nullptr) {
        return make(domain, type, protocol);
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    const int lender = make(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (lender < 0) {
        return -1;
    }
    const int wanted[2]{type, protocol};
    int result = -1;
    if (connect(lender, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
        write(lender, wanted, sizeof(wanted)) == sizeof(wanted)) {
        result = Receive(lender, (type & SOCK_CLOEXEC) != 0);
    }
    const int error = errno;
    close(lender);
    return result >= 0 ? result : Fail(error);
}
