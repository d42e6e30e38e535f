// Mutex and condition variable of the task runtime: the standard ones, placed in the storage that the caller owns.
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>

#include "platform/tasks/ffrt.h"

namespace {

constexpr uint64_t INITIALISED_MUTEX = 0x6D75746578212121;
constexpr uint64_t INITIALISED_COND = 0x636F6E6464212121;

struct MutexBody {
    uint64_t mark = INITIALISED_MUTEX;
    std::mutex mutex;
};
struct CondBody {
    uint64_t mark = INITIALISED_COND;
    std::condition_variable condition;
};
static_assert(sizeof(MutexBody) <= sizeof(ffrt_mutex_t) && alignof(MutexBody) <= alignof(ffrt_mutex_t));
static_assert(sizeof(CondBody) <= sizeof(ffrt_cond_t) && alignof(CondBody) <= alignof(ffrt_cond_t));

// Null for a null argument and for storage that init has not filled.
MutexBody* BodyOf(ffrt_mutex_t* mutex)
{
    auto* body = reinterpret_cast<MutexBody*>(mutex);
    return body != nullptr && body->mark == INITIALISED_MUTEX ? body : nullptr;
}

CondBody* BodyOf(ffrt_cond_t* cond)
{
    auto* body = reinterpret_cast<CondBody*>(cond);
    return body != nullptr && body->mark == INITIALISED_COND ? body : nullptr;
}

}  // namespace

int ffrt_mutex_init(ffrt_mutex_t* mutex, const ffrt_mutexattr_t* attr)
{
    if (mutex == nullptr || attr != nullptr) {
        return ffrt_error;
    }
    new (mutex->storage) MutexBody;
    return ffrt_success;
}

int ffrt_mutex_lock(ffrt_mutex_t* mutex)
{
    MutexBody* body = BodyOf(mutex);
    if (body == nullptr) {
        return ffrt_error;
    }
    body->mutex.lock();
    return ffrt_success;
}

int ffrt_mutex_unlock(ffrt_mutex_t* mutex)
{
    MutexBody* body = BodyOf(mutex);
    if (body == nullptr) {
        return ffrt_error;
    }
    body->mutex.unlock();
    return ffrt_success;
}

int ffrt_mutex_trylock(ffrt_mutex_t* mutex)
{
    MutexBody* body = BodyOf(mutex);
    if (body == nullptr) {
        return ffrt_error;
    }
    return body->mutex.try_lock() ? ffrt_success : ffrt_error_busy;
}

int ffrt_mutex_destroy(ffrt_mutex_t* mutex)
{
    MutexBody* body = BodyOf(mutex);
    if (body == nullptr) {
        return ffrt_error;
    }
    body->mark = 0;
    body->~MutexBody();
    return ffrt_success;
}

int ffrt_cond_init(ffrt_cond_t* cond, const ffrt_condattr_t* attr)
{
    if (cond == nullptr || attr != nullptr) {
        return ffrt_error;
    }
    new (cond->storage) CondBody;
    return ffrt_success;
}

int ffrt_cond_signal(ffrt_cond_t* cond)
{
    CondBody* body = BodyOf(cond);
    if (body == nullptr) {
        return ffrt_error;
    }
    body->condition.notify_one();
    return ffrt_success;
}

int ffrt_cond_broadcast(ffrt_cond_t* cond)
{
    CondBody* body = BodyOf(cond);
    if (body == nullptr) {
        return ffrt_error;
    }
    body->condition.notify_all();
    return ffrt_success;
}

int ffrt_cond_wait(ffrt_cond_t* cond, ffrt_mutex_t* mutex)
{
    CondBody* body = BodyOf(cond);
    MutexBody* held = BodyOf(mutex);
    if (body == nullptr || held == nullptr) {
        return ffrt_error;
    }
    std::unique_lock<std::mutex> lock(held->mutex, std::adopt_lock);
    body->condition.wait(lock);
    lock.release();
    return ffrt_success;
}

int ffrt_cond_timedwait(ffrt_cond_t* cond, ffrt_mutex_t* mutex, std::chrono::steady_clock::time_point deadline)
{
    CondBody* body = BodyOf(cond);
    MutexBody* held = BodyOf(mutex);
    if (body == nullptr || held == nullptr) {
        return ffrt_error;
    }
    std::unique_lock<std::mutex> lock(held->mutex, std::adopt_lock);
    const std::cv_status status = body->condition.wait_until(lock, deadline);
    lock.release();
    return status == std::cv_status::timeout ? ffrt_error_timedout : ffrt_success;
}

int ffrt_cond_destroy(ffrt_cond_t* cond)
{
    CondBody* body = BodyOf(cond);
    if (body == nullptr) {
        return ffrt_error;
    }
    body->mark = 0;
    body->~CondBody();
    return ffrt_success;
}
