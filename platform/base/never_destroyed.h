// NeverDestroyed<T>: a global variable whose destructor never runs, because the daemon's threads use the variable until
// the process ends. As a static variable in a function, it is constructed at its first use. As a namespace variable, it
// is constant-initialised if T allows that; an access then does not check whether the variable is initialised. T
// decides which threads may use the value.
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
