#include "tests/load/floods.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <future>
#include <utility>

#include "interfaces/i_distnet_host.h"
#include "platform/ability/ability_ids.h"
#include "platform/ipc/wire.h"

namespace Vexo::Load {

namespace {

constexpr size_t MUTE = 1000;
constexpr size_t SLOW = 300;
constexpr size_t NOISY = 100;
constexpr int ADDRESSES = 8;

sockaddr_in Loopback(uint32_t number, uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + number);
    address.sin_port = htons(port);
    return address;
}

// Makes the calling thread act as OTHER_USER, but keeps root's access to files. Uses system calls, because setresuid()
// of glibc would change the user of all threads.
void BecomeOtherUser()
{
    ::syscall(SYS_setresuid, -1, OTHER_USER, -1);
    ::syscall(SYS_setfsuid, 0);
}

std::vector<uint8_t> StatusRequest()
{
    MessageParcel parcel;
    parcel.WriteInterfaceToken(Host::IDistNetHost::GetDescriptor());
    std::vector<uint8_t> bytes(Ipc::IPC_HEADER_SIZE);
    Ipc::EncodeHeader({0, DISTNET_HOST_ABILITY_ID, static_cast<uint32_t>(Host::HostInterfaceCode::GET_STATUS)},
                      bytes.data());
    bytes.insert(bytes.end(), parcel.GetData(), parcel.GetData() + parcel.GetDataSize());
    return bytes;
}

}  // namespace

Repeater::Repeater(const std::function<void()>& prepare, const std::function<void()>& step)
{
    std::promise<void> prepared;
    thread_ = std::thread([this, prepare, step, &prepared] {
        ::setpriority(PRIO_PROCESS, 0, LOWEST_PRIORITY);
        prepare();
        prepared.set_value();
        while (!ends_) {
            step();
        }
    });
    prepared.get_future().wait();
}

Repeater::~Repeater()
{
    ends_ = true;
    thread_.join();
}

// ---- StrangerFlood

StrangerFlood::StrangerFlood(const std::string& address)
    : port_(static_cast<uint16_t>(std::stoi(address.substr(address.rfind(':') + 1)))),
      mute_(MUTE),
      slow_(SLOW),
      noisy_(NOISY),
      thread_(
          [this] {
              for (std::vector<UniqueFd>* sockets : {&mute_, &slow_}) {
                  for (UniqueFd& socket : *sockets) {
                      Open(socket);
                  }
              }
          },
          [this] { Step(); })
{
}

void StrangerFlood::Step()
{
    const std::string noise(64, 'x');
    for (size_t i = 0; i < 5; ++i) {
        KeepOpen(mute_[(5 * tick_ + i) % MUTE]);
    }
    UniqueFd& slow = slow_[tick_ % SLOW];
    KeepOpen(slow);
    ::send(slow.Get(), noise.data(), 1, MSG_NOSIGNAL | MSG_DONTWAIT);
    UniqueFd& noisy = noisy_[tick_ % NOISY];
    Open(noisy);
    ::send(noisy.Get(), noise.data(), noise.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    ++tick_;
    std::this_thread::sleep_until(next_ += std::chrono::milliseconds(1));
}

void StrangerFlood::KeepOpen(UniqueFd& socket)
{
    char challenge[64];
    if (!socket || (::recv(socket.Get(), challenge, sizeof(challenge), MSG_DONTWAIT) <= 0 && errno != EAGAIN)) {
        Open(socket);
    }
}

void StrangerFlood::Open(UniqueFd& socket)
{
    socket.Reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in from = Loopback(static_cast<uint32_t>(opened_++ % ADDRESSES), 0);
    const sockaddr_in to = Loopback(0, port_);
    ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&from), sizeof(from));
    ::fcntl(socket.Get(), F_SETFL, O_NONBLOCK);
    ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&to), sizeof(to));
}

// ---- LocalFlood

LocalFlood::LocalFlood(std::string socket, size_t connections, Reads reads)
    : socket_(std::move(socket)),
      reads_(reads),
      request_(StatusRequest()),
      connections_(connections),
      thread_(
          [this] {
              BecomeOtherUser();
              for (size_t i = 0; i < connections_.size(); ++i) {
                  Step();
              }
          },
          [this] { Step(); })
{
}

void LocalFlood::Step()
{
    UniqueFd& connection = connections_[next_++ % connections_.size()];
    char reply[4096];
    if (connection && reads_ == Reads::ALL) {
        ssize_t size = 0;
        do {
            size = ::recv(connection.Get(), reply, sizeof(reply), MSG_DONTWAIT);
        } while (size > 0);
        if (size == 0 || errno != EAGAIN) {
            connection.Reset();
        }
    }
    if (!connection && !Connect(connection)) {
        return;
    }
    int error = 0;
    do {
        error = ::send(connection.Get(), request_.data(), request_.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0 ? errno : 0;
    } while (error == 0 && reads_ == Reads::NOTHING);
    if (error != 0 && error != EAGAIN) {
        connection.Reset();
    }
}

bool LocalFlood::Connect(UniqueFd& connection)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socket_.data(), std::min(socket_.size(), sizeof(address.sun_path) - 1));
    connection.Reset(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (::connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        connection.Reset();  // the daemon's queue of new connections is full
        return false;
    }
    ++opened_;
    return true;
}

// ---- ForeignAnnouncements

ForeignAnnouncements::ForeignAnnouncements(std::filesystem::path folder, size_t count)
    : folder_(std::move(folder)), missing_(count)
{
    thread_.emplace([this] { Write(); },
                    [this] {
                        if (missing_ > 0) {
                            Write();
                        } else {
                            std::this_thread::yield();
                        }
                    });
}

ForeignAnnouncements::~ForeignAnnouncements()
{
    thread_.reset();
    while (missing_ > 0) {
        Write();
    }
}

void ForeignAnnouncements::Write()
{
    char token[17];
    std::snprintf(token, sizeof(token), "%016llx", static_cast<unsigned long long>(random_()));
    std::ofstream(folder_ / (std::string(token) + "-0badf00d.json"))
        << R"({"version": 2, "token": ")" << token << R"(", "transport": "tcp", "address": "192.0.2.1:4711"})";
    --missing_;
}

}  // namespace Vexo::Load
