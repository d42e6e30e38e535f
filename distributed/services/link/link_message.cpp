#include "distributed/services/link/link_message.h"

#include <new>

namespace Vexo::NetManagerStandard {
namespace {

template <size_t Size>
MessageBytes CopyBytes(const uint8_t (&bytes)[Size])
{
    MessageBytes copy = ZeroedBytes(Size);
    for (size_t i = 0; copy && i < Size; ++i) {
        copy[i] = bytes[i];
    }
    return copy;
}

}  // namespace

MessageBytes ZeroedBytes(size_t size)
{
    return MessageBytes(static_cast<uint8_t*>(std::calloc(size, sizeof(uint8_t))));
}

MessageBytes MessageTlvHelloRequest::getBytes() const
{
    return CopyBytes({type, length, value0, value1});
}

MessageBytes MessageTlvStartHotspotRequest::getBytes() const
{
    return CopyBytes({type, length, value});
}

std::string KeyMgmtText(Wifi::KeyMgmt keyMgmt)
{
    switch (static_cast<int32_t>(keyMgmt)) {
        case 0:
            return "NONE";
        case 2:
            return "WPA-EAP";
        case 1:
        case 3:
        case 4:
            return "WPA-PSK";
        default:
            return "";
    }
}

}  // namespace Vexo::NetManagerStandard
