// ThreadSanitizer doesn't know the waits for a lock or a thread on a clock of choice, and would take what such a lock
// guards for unguarded. In its builds these stand in, made of what it knows.
#include <cerrno>
#include <ctime>
#include <pthread.h>

namespace {

template <typename Attempt>
int repeatUntil(clockid_t clock, const timespec* end, Attempt attempt) {
  for (;;) {
    const int result = attempt();
    if (result != EBUSY) return result;
    timespec now{};
    clock_gettime(clock, &now);
    if (now.tv_sec > end->tv_sec || (now.tv_sec == end->tv_sec && now.tv_nsec >= end->tv_nsec)) return ETIMEDOUT;
    constexpr timespec pause = {0, 500'000};
    nanosleep(&pause, nullptr);
  }
}

}  // namespace

extern "C" {

int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* end) {
  return repeatUntil(clock, end, [&] { return pthread_mutex_trylock(mutex); });
}

int pthread_clockjoin_np(pthread_t thread, void** result, clockid_t clock, const timespec* end) {
  return repeatUntil(clock, end, [&] { return pthread_tryjoin_np(thread, result); });
}
}
