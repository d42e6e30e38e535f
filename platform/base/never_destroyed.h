// NeverDestroyed<T>: a global whose destructor does not run: the daemon's threads use it until the process is gone. As
// a static inside a function it is made at first use; as a namespace's own it is constant-initialised where T allows
// that, and reaching it costs no check. T says on which threads it is used.
#pragma once

#include <utility>

namespace Vexo {

template <typename T>
union NeverDestroyed {
    template <typename... Args>
    constexpr explicit NeverDestroyed(Args&&... args) : value(std::forward<Args>(args)...)
    {
    }
    ~NeverDestroyed() {}  // NOLINT(modernize-use-equals-default): "= default" would be deleted
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T value;
};

}  // namespace Vexo
