// L2capSockets: the kernel's L2CAP sockets over Bluetooth Low Energy. They are connection-oriented channels and are
// used as byte streams. The numbers and the address struct are the kernel's ABI (include/net/bluetooth/bluetooth.h and
// include/net/bluetooth/l2cap.h of Linux 6.1). L2capSockets makes the system calls, and a test can replace it. Used on
// the soft bus's reactor thread. No call blocks.
#pragma once

#include <sys/socket.h>

#include <cstdint>

#include "backends/linux/bluetooth_address.h"

namespace Vexo::Linux {

namespace L2cap {

inline constexpr int PROTOCOL = 0;  // BTPROTO_L2CAP

// Socket options of the level SOL_BLUETOOTH. Their values are uint16_t. SEND_UNIT: the most bytes that the peer accepts
// in one message; read it when the socket is connected. RECEIVE_UNIT: the most bytes that this side accepts in one
// message; set it after bind and before connect or listen.
inline constexpr int OPTION_LEVEL = 274;  // SOL_BLUETOOTH
inline constexpr int SEND_UNIT = 12;      // BT_SNDMTU
inline constexpr int RECEIVE_UNIT = 13;   // BT_RCVMTU

inline constexpr uint8_t LE_PUBLIC = 1;  // BDADDR_LE_PUBLIC
inline constexpr uint8_t LE_RANDOM = 2;  // BDADDR_LE_RANDOM

// Has the same layout as the kernel's struct sockaddr_l2.
struct SocketAddress {
    sa_family_t family = AF_BLUETOOTH;
    uint16_t psm = 0;      // little-endian
    uint8_t address[6]{};  // the lowest byte first
    uint16_t channel = 0;  // little-endian; 0: the kernel chooses
    uint8_t addressType = LE_PUBLIC;
};
static_assert(sizeof(SocketAddress) == 14, "as the kernel lays it out");

}  // namespace L2cap

// Makes the system calls for L2CAP sockets. On failure, each function returns a negative errno(3). Sockets are
// non-blocking, and the caller owns them.
class L2capSockets {
public:
    virtual ~L2capSockets() = default;

    // Returns a new socket that is bound to the adapter and channel number in the parameter local. To connect the
    // socket later, set local.psm to 0.
    virtual int Open(const BluetoothAddress& local) = 0;
    virtual int Listen(int socket) = 0;
    // Returns the socket of the next connection, or -EAGAIN if no connection waits. Stores the peer's address, without
    // a channel number, in the parameter from.
    virtual int Accept(int socket, BluetoothAddress& from) = 0;
    // Starts to connect. If the result is -EINPROGRESS, the socket becomes writable when the attempt has ended. The
    // attempt may never end.
    virtual int Connect(int socket, const BluetoothAddress& to) = 0;
    // Returns the maximum number of bytes of one write to a connected socket. If the socket could not be connected,
    // returns the error of the attempt to connect.
    virtual int SendUnit(int socket) = 0;

    // Returns the object that makes real system calls. It exists until the process ends.
    static L2capSockets& System();
};

}  // namespace Vexo::Linux
