// Contract checks: a failed check is a programming mistake in DistNet. Bad input from a peer, a local caller or a file
// must never fail a check. Answer bad input with an error (docs/errors.md).
//   DISTNET_CHECK(condition, "what the header demands")   every build; use it where continuing would damage data
//   DISTNET_ASSERT(condition, "what the header demands")  only builds without NDEBUG; costs nothing in others
// A failed check writes one line to standard error and calls abort(3). Any thread may make a check.
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
