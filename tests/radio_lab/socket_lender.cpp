// socket_lender SOCKET: lends Bluetooth sockets to processes in other network namespaces, where the kernel creates no
// Bluetooth sockets. Runs in the first network namespace of the virtual machine. A client (borrowed_sockets.cpp)
// connects to the sequenced-packet socket at the path SOCKET and sends type and protocol, two ints in one message. The
// answer is one byte with the new socket, or an errno(3) value as an int without a socket.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tests/radio_lab/descriptor_message.h"

namespace {

void Lend(int client)
{
    int wanted[2]{};
    if (read(client, wanted, sizeof(wanted)) != sizeof(wanted)) {
        return;
    }
    const int made = socket(AF_BLUETOOTH, wanted[0], wanted[1]);
    if (made < 0) {
        const int error = errno;
        static_cast<void>(!write(client, &error, sizeof(error)));
        return;
    }
    char byte = 0;
    DescriptorMessage message(&byte, sizeof(byte));
    cmsghdr* header = CMSG_FIRSTHDR(&message.header);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    memcpy(CMSG_DATA(header), &made, sizeof(made));
    if (sendmsg(client, &message.header, MSG_NOSIGNAL) < 0) {
        perror("socket_lender: sendmsg");
    }
    close(made);
}

}  // namespace

int main(int argc, char** argv)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (argc != 2 || strlen(argv[1]) >= sizeof(address.sun_path)) {
        fprintf(stderr, "usage: socket_lender SOCKET\n");
        return 2;
    }
    strcpy(address.sun_path, argv[1]);
    unlink(argv[1]);
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    if (listener < 0 || bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0 ||
        chmod(argv[1], 0666) < 0 || listen(listener, 16) < 0) {
        perror("socket_lender");
        return 1;
    }
    for (;;) {
        const int client = accept(listener, nullptr, nullptr);
        if (client >= 0) {
            Lend(client);
            close(client);
        }
    }
}
