// Implements the mutex and the condition variable of the task runtime, as standard objects in storage that the caller
// owns. The types of platform/base/mutex.h are not used, because one function locks and another function unlocks. The
// thread-safety analysis cannot follow that through untyped storage.
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>

#include "platform/tasks/ffrt.h"

namespace {

// The storage contains a mark, followed by the object. The mark says which type of object init has constructed. The
// mark is not a member of the object, because a compiler may drop a write to a member of an object that is about to be
// destroyed.
using Mark = uint64_t;
constexpr Mark INITIALISED_MUTEX = 0x6D75746578212121;
constexpr Mark INITIALISED_COND = 0x636F6E6464212121;
constexpr Mark DESTROYED = 0;

constexpr Mark MarkFor(const ffrt_mutex_t*)
{
    return INITIALISED_MUTEX;
}

constexpr Mark MarkFor(const ffrt_cond_t*)
{
    return INITIALISED_COND;
}

template <typename Object, typename Storage>
int Place(Storage* storage, bool hasAttributes)
{
    static_assert(sizeof(Mark) + sizeof(Object) <= sizeof(Storage::storage));
    static_assert(alignof(Object) <= alignof(Storage) && sizeof(Mark) % alignof(Object) == 0);
    if (storage == nullptr || hasAttributes) {
        return ffrt_error;
    }
    const Mark mark = MarkFor(storage);
    std::memcpy(storage->storage, &mark, sizeof(mark));
    new (storage->storage + sizeof(mark)) Object;
    return ffrt_success;
}

// Returns the object in the storage. Returns null if the storage is null or was not initialised.
template <typename Object, typename Storage>
Object* ObjectIn(Storage* storage)
{
    Mark mark = DESTROYED;
    if (storage != nullptr) {
        std::memcpy(&mark, storage->storage, sizeof(mark));
    }
    return mark == MarkFor(storage) ? std::launder(reinterpret_cast<Object*>(storage->storage + sizeof(mark)))
                                    : nullptr;
}

std::mutex* MutexIn(ffrt_mutex_t* mutex)
{
    return ObjectIn<std::mutex>(mutex);
}

std::condition_variable* CondIn(ffrt_cond_t* cond)
{
    return ObjectIn<std::condition_variable>(cond);
}

template <typename Object, typename Storage>
int Destroy(Storage* storage)
{
    auto* object = ObjectIn<Object>(storage);
    if (object == nullptr) {
        return ffrt_error;
    }
    object->~Object();
    std::memcpy(storage->storage, &DESTROYED, sizeof(DESTROYED));
    return ffrt_success;
}

// Calls the function "wait" with the condition variable and a lock of the mutex. The caller must have locked the mutex.
template <typename Wait>
int WaitHolding(ffrt_cond_t* cond, ffrt_mutex_t* mutex, Wait wait)
{
    std::condition_variable* condition = CondIn(cond);
    std::mutex* held = MutexIn(mutex);
    if (condition == nullptr || held == nullptr) {
        return ffrt_error;
    }
    std::unique_lock<std::mutex> lock(*held, std::adopt_lock);
    const std::cv_status status = wait(*condition, lock);
    lock.release();
    return status == std::cv_status::timeout ? ffrt_error_timedout : ffrt_success;
}

}  // namespace

int ffrt_mutex_init(ffrt_mutex_t* mutex, const ffrt_mutexattr_t* attr)
{
    return Place<std::mutex>(mutex, attr != nullptr);
}

int ffrt_mutex_lock(ffrt_mutex_t* mutex)
{
    std::mutex* object = MutexIn(mutex);
    if (object == nullptr) {
        return ffrt_error;
    }
    object->lock();
    return ffrt_success;
}

int ffrt_mutex_unlock(ffrt_mutex_t* mutex)
{
    std::mutex* object = MutexIn(mutex);
    if (object == nullptr) {
        return ffrt_error;
    }
    object->unlock();
    return ffrt_success;
}

int ffrt_mutex_trylock(ffrt_mutex_t* mutex)
{
    std::mutex* object = MutexIn(mutex);
    if (object == nullptr) {
        return ffrt_error;
    }
    return object->try_lock() ? ffrt_success : ffrt_error_busy;
}

int ffrt_mutex_destroy(ffrt_mutex_t* mutex)
{
    return Destroy<std::mutex>(mutex);
}

int ffrt_cond_init(ffrt_cond_t* cond, const ffrt_condattr_t* attr)
{
    return Place<std::condition_variable>(cond, attr != nullptr);
}

int ffrt_cond_signal(ffrt_cond_t* cond)
{
    std::condition_variable* object = CondIn(cond);
    if (object == nullptr) {
        return ffrt_error;
    }
    object->notify_one();
    return ffrt_success;
}

int ffrt_cond_broadcast(ffrt_cond_t* cond)
{
    std::condition_variable* object = CondIn(cond);
    if (object == nullptr) {
        return ffrt_error;
    }
    object->notify_all();
    return ffrt_success;
}

int ffrt_cond_wait(ffrt_cond_t* cond, ffrt_mutex_t* mutex)
{
    return WaitHolding(cond, mutex, [](std::condition_variable& condition, std::unique_lock<std::mutex>& lock) {
        condition.wait(lock);
        return std::cv_status::no_timeout;
    });
}

int ffrt_cond_timedwait(ffrt_cond_t* cond, ffrt_mutex_t* mutex, std::chrono::steady_clock::time_point deadline)
{
    return WaitHolding(cond, mutex, [deadline](std::condition_variable& condition, std::unique_lock<std::mutex>& lock) {
        return condition.wait_until(lock, deadline);
    });
}

int ffrt_cond_destroy(ffrt_cond_t* cond)
{
    return Destroy<std::condition_variable>(cond);
}
