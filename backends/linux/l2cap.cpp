#include "backends/linux/l2cap.h"

#include <endian.h>
#include <algorithm>
#include <cerrno>
#include <cstddef>

#include "platform/base/unique_fd.h"

namespace Vexo::Linux {
namespace {

// How many connections the kernel queues. A few suffice, because this program accepts them at once.
constexpr int BACKLOG = 4;
// The most bytes that this side accepts in one L2CAP message. A client's proof and its first TLS record (at most 4,096
// bytes with the header) fit into few L2CAP messages of this size.
constexpr uint16_t RECEIVE_UNIT_BYTES = 2048;

L2cap::SocketAddress KernelAddress(const BluetoothAddress& address)
{
    L2cap::SocketAddress out;
    out.psm = htole16(address.psm);
    std::reverse_copy(address.bytes.begin(), address.bytes.end(), std::begin(out.address));
    out.addressType = address.isRandom ? L2cap::LE_RANDOM : L2cap::LE_PUBLIC;
    return out;
}

int OrError(int result)
{
    return result < 0 ? -errno : result;
}

class KernelSockets final : public L2capSockets {
public:
    int Open(const BluetoothAddress& local) override
    {
        UniqueFd socket(::socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, L2cap::PROTOCOL));
        if (!socket) {
            return -errno;
        }
        const L2cap::SocketAddress address = KernelAddress(local);
        if (::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            return -errno;
        }
        // An error is ignored, because without the option the socket is only slower.
        static_cast<void>(::setsockopt(socket.Get(), L2cap::OPTION_LEVEL, L2cap::RECEIVE_UNIT, &RECEIVE_UNIT_BYTES,
                                       sizeof RECEIVE_UNIT_BYTES));
        return socket.Release();
    }

    int Listen(int socket) override { return OrError(::listen(socket, BACKLOG)); }

    int Accept(int socket, BluetoothAddress& from) override
    {
        L2cap::SocketAddress address;
        socklen_t length = sizeof address;
        const int accepted =
            ::accept4(socket, reinterpret_cast<sockaddr*>(&address), &length, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (accepted < 0) {
            return -errno;
        }
        std::reverse_copy(std::begin(address.address), std::end(address.address), from.bytes.begin());
        from.isRandom = address.addressType == L2cap::LE_RANDOM;
        from.psm = 0;
        return accepted;
    }

    int Connect(int socket, const BluetoothAddress& to) override
    {
        const L2cap::SocketAddress address = KernelAddress(to);
        return OrError(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    }

    int SendUnit(int socket) override
    {
        int error = 0;
        socklen_t length = sizeof error;
        if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
            return -errno;
        }
        if (error != 0) {
            return -error;
        }
        uint16_t unit = 0;
        length = sizeof unit;
        if (::getsockopt(socket, L2cap::OPTION_LEVEL, L2cap::SEND_UNIT, &unit, &length) != 0) {
            return -errno;
        }
        return unit > 0 ? unit : -EPROTO;
    }
};

}  // namespace

L2capSockets& L2capSockets::System()
{
    static KernelSockets sockets;
    return sockets;
}

}  // namespace Vexo::Linux
