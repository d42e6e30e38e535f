// Intrusive reference counting: RefBase is the counted base class, and sptr<T> is the owning pointer. The counts are
// atomic, so any thread may copy and release an sptr to the same object. Access to the object itself is not
// synchronised. Each interface inherits RefBase virtually, so that an object with several interfaces has one count. A
// static object that must outlive every sptr is "pinned": call IncStrongRef() once and never release that reference.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/base/check.h"

namespace Vexo {

class RefBase {
public:
    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

    void IncStrongRef() const noexcept { strong_.fetch_add(1, std::memory_order_relaxed); }

    // Releases one reference. Destroys the object if that reference was the last one.
    void DecStrongRef() const noexcept
    {
        const int32_t before = strong_.fetch_sub(1, std::memory_order_acq_rel);
        DISTNET_CHECK(before > 0, "each reference is released once");
        if (before == 1) {
            delete this;
        }
    }

    int32_t GetSptrRefCount() const noexcept { return strong_.load(std::memory_order_relaxed); }

protected:
    RefBase() = default;
    virtual ~RefBase() = default;

private:
    mutable std::atomic<int32_t> strong_{0};
};

template <typename T>
class sptr {
public:
    sptr() noexcept = default;
    sptr(std::nullptr_t) noexcept {}
    // Acquires one reference. The object must have been created with new, or be pinned (see the top of this file).
    sptr(T* object) noexcept : object_(object) { Acquire(); }
    sptr(const sptr& other) noexcept : object_(other.object_) { Acquire(); }
    sptr(sptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <typename U>
    sptr(const sptr<U>& other) noexcept : object_(other.GetRefPtr())
    {
        Acquire();
    }
    ~sptr() { Release(); }

    sptr& operator=(sptr other) noexcept
    {
        std::swap(object_, other.object_);
        return *this;
    }

    T* GetRefPtr() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    bool operator==(const sptr& other) const noexcept { return object_ == other.object_; }
    bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }
    bool operator<(const sptr& other) const noexcept { return object_ < other.object_; }

    // Returns an sptr<U> to the same object, or an empty sptr when the object is not a U.
    template <typename U>
    sptr<U> Cast() const
    {
        return sptr<U>(dynamic_cast<U*>(object_));
    }

private:
    void Acquire() const noexcept
    {
        if (object_ != nullptr) {
            object_->IncStrongRef();
        }
    }
    void Release() noexcept
    {
        if (object_ != nullptr) {
            object_->DecStrongRef();
        }
    }

    T* object_ = nullptr;
};

template <typename T, typename... Args>
sptr<T> MakeSptr(Args&&... args)
{
    return sptr<T>(new T(std::forward<Args>(args)...));
}

}  // namespace Vexo
