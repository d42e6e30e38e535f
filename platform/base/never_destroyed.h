// NeverDestroyed<T>: a global whose destructor never runs, because the daemon's threads use it until the process ends.
// A static variable of a function is constructed at its first use. A variable of a namespace is constant-initialised
// where T allows that, and each access then costs no check. On which threads the value may be used depends on T.
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
