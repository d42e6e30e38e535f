// NoCopyable: a base for classes that must not be copied or moved.
#pragma once

namespace Vexo {

class NoCopyable {
public:
    NoCopyable(const NoCopyable&) = delete;
    NoCopyable& operator=(const NoCopyable&) = delete;
    NoCopyable(NoCopyable&&) = delete;
    NoCopyable& operator=(NoCopyable&&) = delete;

protected:
    NoCopyable() = default;
    ~NoCopyable() = default;
};

}  // namespace Vexo
