// NoCopyable: a base for classes of which a copy or a move would be a mistake.
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
