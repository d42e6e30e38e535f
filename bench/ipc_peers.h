// The peers that DistNet's local requests are compared with: a bare ping-pong over SOCK_SEQPACKET, and an sd-bus call,
// either directly between two processes or through a private dbus-daemon. Each object forks a server process, and ends
// this process in its destructor. Create the objects before other threads exist. Use each object on one thread.
#pragma once

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Bench {

// Runs a function in a forked process and kills the process in the destructor.
class Child : public NoCopyable {
public:
    explicit Child(const std::function<void()>& body);
    ~Child();

private:
    pid_t pid_ = -1;
};

// Sends 100 bytes and receives 16 bytes.
class RawPeer : public NoCopyable {
public:
    RawPeer();
    void Call() const;

private:
    UniqueFd socket_;
    UniqueFd childSocket_;
    std::unique_ptr<Child> child_;
};

// Calls a method with two int32 and a string of 64 characters, as StopDistributedNetwork has, and receives an int32.
class SdBusPeer : public NoCopyable {
public:
    // Connects the two processes by a socket pair.
    SdBusPeer();
    // Connects both processes to a dbus-daemon at this address.
    explicit SdBusPeer(const std::string& address);
    ~SdBusPeer();
    void Call() const;

private:
    void Connect(sd_bus* bus);

    std::unique_ptr<Child> child_;
    sd_bus* bus_ = nullptr;
    const char* destination_ = nullptr;
};

// A dbus-daemon that only this benchmark uses.
class PrivateDBus : public NoCopyable {
public:
    PrivateDBus();
    ~PrivateDBus();
    const std::string& Address() const { return address_; }

private:
    pid_t pid_ = -1;
    std::string address_;
};

}  // namespace Vexo::Bench
