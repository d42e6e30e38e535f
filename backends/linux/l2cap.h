// The kernel's L2CAP sockets over Bluetooth Low Energy: connection-oriented channels, used as byte streams. The numbers
// and the address are the kernel's ABI, as include/net/bluetooth/bluetooth.h and include/net/bluetooth/l2cap.h of Linux
// 6.1 define them for programs. L2capSockets makes the system calls, so that a test can stand in for the kernel. Used
// on the soft bus's reactor thread. No call blocks.
#pragma once

#include <sys/socket.h>

#include <cstdint>

#include "backends/linux/bluetooth_address.h"

namespace Vexo::Linux {

namespace L2cap {

inline constexpr int PROTOCOL = 0;  // BTPROTO_L2CAP

// Options of the level SOL_BLUETOOTH; both values are uint16_t. SEND_UNIT: the most bytes that the peer accepts in one
// message; read it once connected. RECEIVE_UNIT: the most bytes that this side accepts; set it between bind and connect
// or listen.
inline constexpr int OPTION_LEVEL = 274;  // SOL_BLUETOOTH
inline constexpr int SEND_UNIT = 12;      // BT_SNDMTU
inline constexpr int RECEIVE_UNIT = 13;   // BT_RCVMTU

inline constexpr uint8_t LE_PUBLIC = 1;  // BDADDR_LE_PUBLIC
inline constexpr uint8_t LE_RANDOM = 2;  // BDADDR_LE_RANDOM

// The kernel's struct sockaddr_l2.
struct SocketAddress {
    sa_family_t family = AF_BLUETOOTH;
    uint16_t psm = 0;      // little-endian
    uint8_t address[6]{};  // the lowest byte first
    uint16_t channel = 0;  // little-endian; 0: the kernel's choice
    uint8_t addressType = LE_PUBLIC;
};
static_assert(sizeof(SocketAddress) == 14, "as the kernel lays it out");

}  // namespace L2cap

// On failure each function returns a negative errno(3). Sockets are non-blocking and belong to the caller.
class L2capSockets {
public:
    virtual ~L2capSockets() = default;

    // Returns a new socket that is bound to that adapter and channel number. local.psm: 0 for a socket that is to
    // connect.
    virtual int Open(const BluetoothAddress& local) = 0;
    virtual int Listen(int socket) = 0;
    // Returns the socket of the next connection, or -EAGAIN if none waits. from gets the peer's address, without a
    // channel number.
    virtual int Accept(int socket, BluetoothAddress& from) = 0;
    // Starts to connect. -EINPROGRESS: the socket becomes writable when the attempt has ended, which may never happen.
    virtual int Connect(int socket, const BluetoothAddress& to) = 0;
    // Returns the most bytes that one write to a connected socket may have, or the error with which the attempt to
    // connect failed.
    virtual int SendUnit(int socket) = 0;

    // The kernel's sockets. The object exists until the process ends.
    static L2capSockets& System();
};

}  // namespace Vexo::Linux
