// Actions of the failure table (failure_table_test.cpp): each makes something go wrong between the devices of a stage.
// An Act runs on the test's thread, blocks for PATIENCE at most and returns the code that the caller received.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/end_to_end/hand_made_peer.h"
#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {

using Lacks = HandMadePeer::Lacks;

inline constexpr const char* DESCRIPTOR = "Vexo.NetManagerStandard.IDistNetService";

struct Stage {
    World world;
    Device& laptop{world.Add("laptop")};
    Device& phone{world.Add("phone")};
    std::unique_ptr<HandMadePeer> tablet;
    std::string peer = phone.NetworkId();  // network id of the device that the laptop asks
    bool collaborates = false;             // the laptop asks over a collaboration

    bool LogHas(const Device& device, const std::string& text) const;
    // Adds a third device, played by the test, and waits until it and the other two see each other.
    void BringTablet(Lacks lacks);
};

using Act = std::function<int32_t(Stage&)>;

// The tablet answers with success; its JSON is padded with spaces to size bytes. declared: as for ResponseFrame().
Act TabletSucceeds(size_t size = 0, int64_t declared = -1);

int32_t Start(Stage& stage);

// The laptop asks a tablet that answers with this frame.
Act TabletAnswers(const std::string& frame, Lacks lacks = Lacks::NOTHING);

// The laptop's start wakes the service of the phone. Then a tablet sends the phone this message and a request. waits
// false: the tablet closes the session without waiting for the answer.
Act TabletSends(const std::string& message, bool waits = true);

// Kills or freezes a device by a signal: before the request or, with isServing, once the phone has begun to serve it.
Act StartWhile(const char* device, int signal, bool isServing);

// The laptop, which runs collaboration_daemon, starts over the collaboration's data channel. Its peer is the phone,
// killed before if isKilled, or a tablet that answers with this frame. With an empty frame the tablet never becomes
// ready to receive.
Act Collaborate(bool isKilled = false, bool isTablet = false, const std::string& frame = "");

int32_t CollaborateBothWays(Stage& stage);

// Makes a device that runs collaboration_daemon start over a collaboration, and runs meanwhile. Blocks until the device
// has logged the result code, and returns it.
int32_t AskToCollaborate(
    const Device& device, const std::string& peer, const std::function<void()>& meanwhile = [] {});

int32_t StartFromStranger(Stage& stage);

Act StartWithProductFiles(const char* device, const char* scenario = nullptr, uintmax_t size = 0);

// Replaces files that a running device watches by damaged ones. The device must name each of them in its log and
// continue with the state before.
int32_t StartAmidJunk(Stage& stage);

int32_t TurnScreenOff(Stage& stage);

// Queries one item that fails: its value must be empty or false.
Act Query(const char* item);

int32_t ListDevicesWithoutPhone(Stage& stage);

// Sends one datagram with an interface token and an int32 or, if items is not 0, a list of that many items. Returns the
// int32 of the reply if there is one, else the status.
Act Raw(uint32_t request, int32_t number, const std::string& token = DESCRIPTOR, size_t items = 0);

}  // namespace Vexo::EndToEnd
