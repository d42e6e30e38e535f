// Checks of an interface's contract. A breach is a mistake in this program; input from a peer, a caller of the daemon
// or a file can never cause one, it is answered with an error (docs/errors.md).
//   DISTNET_CHECK(condition, "what the header demands")   in every build: where going on would harm other data
//   DISTNET_ASSERT(condition, "what the header demands")  in development builds; costs nothing in others
// A breach writes one line to standard error and ends the process by abort(3). Any thread.
#pragma once

namespace Vexo {

[[noreturn]] void EndByBreach(const char* condition, const char* contract, const char* file, int line) noexcept;

}  // namespace Vexo

#define DISTNET_CHECK(condition, contract) \
    ((condition) ? static_cast<void>(0) : ::Vexo::EndByBreach(#condition, contract, __FILE__, __LINE__))

#ifdef NDEBUG
#define DISTNET_ASSERT(condition, contract) static_cast<void>(sizeof((condition) ? 1 : 0))
#else
#define DISTNET_ASSERT(condition, contract) DISTNET_CHECK(condition, contract)
#endif
