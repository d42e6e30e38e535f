// Compares the time of a good client's request without and with a load on the daemon.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace Vexo::Load {

// The p99 under load may be up to SLOWER times the p99 without load. A p99 up to FLOOR is always acceptable, because
// such short times depend on the machine's scheduler. In a build without optimisation or with a sanitizer, the
// comparison says little. FLOOR is higher in such a build, and the test finds only stalls.
inline constexpr int SLOWER = 3;
#ifdef NDEBUG
inline constexpr std::chrono::milliseconds FLOOR{2};
#else
inline constexpr std::chrono::milliseconds FLOOR{250};
#endif

inline constexpr int WINDOWS = 5;  // with the load; as many without it

// Sends one request and waits for the answer. Returns false if the daemon refused the request or did not answer.
using Request = std::function<bool()>;
// Starts the load and returns when the load has begun to work. The load ends when the returned object is destroyed.
using StartLoad = std::function<std::shared_ptr<void>()>;

// Measures the request in windows, alternately without and with the load, so that other work of the machine affects
// both alike. Takes the p99 of each window, and the median p99 of each kind of window. Fails the test if any request
// failed, or if the median under load exceeds both FLOOR and SLOWER times the median without load.
void ExpectServedDuring(const StartLoad& startLoad, const Request& request);

}  // namespace Vexo::Load
