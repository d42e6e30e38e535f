// DescriptorMessage: a message over a Unix socket that may carry one descriptor (SCM_RIGHTS, unix(7)).
#pragma once

#include <sys/socket.h>

#include <cstddef>

struct DescriptorMessage {
    // bytes: the data to send, or the buffer for received data. Must outlive the message.
    DescriptorMessage(void* bytes, size_t size) : data{bytes, size}
    {
        header.msg_iov = &data;
        header.msg_iovlen = 1;
        header.msg_control = control;
        header.msg_controllen = sizeof(control);
    }
    DescriptorMessage(const DescriptorMessage&) = delete;
    DescriptorMessage& operator=(const DescriptorMessage&) = delete;

    iovec data;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))]{};
    msghdr header{};
};
