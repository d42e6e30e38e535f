// What a row of the failure table does: how something goes wrong between the devices of a stage. An Act returns the
// code that the caller got. On the test's thread; bounded by PATIENCE. The rows: failure_table_test.cpp.
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
    std::string peer = phone.NetworkId();  // whom the laptop asks
    bool collaborates = false;             // it asks over a collaboration

    bool LogHas(const Device& device, const std::string& text) const;
    // A third device, played by the test, that both others see.
    void BringTablet(Lacks lacks);
};

using Act = std::function<int32_t(Stage&)>;

// A tablet's success answer, padded with spaces to the size.
Act TabletSucceeds(size_t size = 0, int64_t declared = -1);

int32_t Start(Stage& stage);

// The laptop asks a tablet that answers with the frame.
Act TabletAnswers(const std::string& frame, Lacks lacks = Lacks::NOTHING);

// A tablet sends the phone, whose service the laptop has woken, a message and a request; or it hangs up before it has
// its answer.
Act TabletSends(const std::string& message, bool waits = true);

// A process is killed or frozen: before the request, or once the phone has begun to serve it.
Act StartWhile(const char* device, int signal, bool isServing);

// The exchange over the collaboration's data channel, through a laptop that can: with the phone, alive or killed, or
// with a tablet that answers with the frame; with no frame it never becomes ready to receive.
Act Collaborate(bool isKilled = false, bool isTablet = false, const std::string& frame = "");

int32_t CollaborateBothWays(Stage& stage);

// Has a device of such an act start over a collaboration, and returns the code once it is there.
int32_t AskToCollaborate(
    const Device& device, const std::string& peer, const std::function<void()>& meanwhile = [] {});

int32_t StartFromStranger(Stage& stage);

Act StartWithProductFiles(const char* device, const char* scenario = nullptr, uintmax_t size = 0);

// Every file that a running device looks at holds junk: each is named once, and all stays as it was.
int32_t StartAmidJunk(Stage& stage);

int32_t TurnScreenOff(Stage& stage);

// An item that fails has no value, or false.
Act Query(const char* item);

int32_t ListDevicesWithoutPhone(Stage& stage);

// One datagram of an interface token, an int32 and a list of items: the int32 of the reply where it has one, else the
// status.
Act Raw(uint32_t request, int32_t number, const std::string& token = DESCRIPTOR, size_t items = 0);

}  // namespace Vexo::EndToEnd
