// Contract checks: a failed check is a mistake in this program. Bad input from a peer, a local caller or a file must
// never fail a check; answer it with an error (docs/errors.md).
//   DISTNET_CHECK(condition, "what the header demands")   in every build: where continuing would damage other data
//   DISTNET_ASSERT(condition, "what the header demands")  only in builds without NDEBUG; costs nothing in others
// A failed check writes one line to standard error and calls abort(3). Any thread.
#pragma once

namespace Vexo {

[[noreturn]] void AbortOnBrokenContract(const char* condition, const char* contract, const char* file,
                                        int line) noexcept;

}  // namespace Vexo

#define DISTNET_CHECK(condition, contract) \
    ((condition) ? static_cast<void>(0) : ::Vexo::AbortOnBrokenContract(#condition, contract, __FILE__, __LINE__))

#ifdef NDEBUG
#define DISTNET_ASSERT(condition, contract) static_cast<void>(sizeof((condition) ? 1 : 0))
#else
#define DISTNET_ASSERT(condition, contract) DISTNET_CHECK(condition, contract)
#endif
