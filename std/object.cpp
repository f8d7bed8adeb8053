#include "object.h"

#include <mutex>

namespace qvstd {

/// The handles in use, hashed by their low bits.
class Registry {
public:
  ViObject add(Object* object) {
    const std::lock_guard lock(mutex_);
    // A handle is given again only after all others, so that a stale one doesn't meet a new session.
    do ++last_;
    while (last_ == VI_NULL || *slotOf(last_));
    object->handle_ = last_;
    object->next_ = buckets_[last_ % kBuckets];
    buckets_[last_ % kBuckets] = object;
    return last_;
  }

  Ref<Object> find(ViObject handle) {
    const std::lock_guard lock(mutex_);
    return use(*slotOf(handle));
  }

  Ref<Object> findIf(bool (*test)(const Object&, const void*), const void* context) {
    const std::lock_guard lock(mutex_);
    for (Object* object : buckets_) {
      while (object && !test(*object, context)) object = object->next_;
      if (object) return use(object);
    }
    return {};
  }

  Ref<Object> remove(ViObject handle) {
    const std::lock_guard lock(mutex_);
    return take(slotOf(handle));
  }

  Ref<Object> removeOf(ViSession manager) {
    const std::lock_guard lock(mutex_);
    for (Object*& bucket : buckets_) {
      for (Object** slot = &bucket; *slot; slot = &(*slot)->next_) {
        if ((*slot)->manager_ == manager) return take(slot);
      }
    }
    return {};
  }

private:
  static constexpr ViObject kBuckets = 256;

  /// Where the object is linked, or the empty end of its chain.
  Object** slotOf(ViObject handle) {
    Object** slot = &buckets_[handle % kBuckets];
    while (*slot && (*slot)->handle_ != handle) slot = &(*slot)->next_;
    return slot;
  }

  static Ref<Object> use(Object* object) {
    if (object) object->uses_.fetch_add(1, std::memory_order_relaxed);
    return Ref<Object>(object);
  }

  static Ref<Object> take(Object** slot) {
    Object* object = *slot;
    if (object) *slot = object->next_;
    return Ref<Object>(object);
  }

  std::mutex mutex_;
  Object* buckets_[kBuckets] = {};
  ViObject last_ = 0;
};

namespace {

Registry registry;

}  // namespace

ViObject addObject(Object* object) {
  return registry.add(object);
}

Ref<Object> findObject(ViObject handle) {
  return registry.find(handle);
}

Ref<Object> findObjectIf(bool (*test)(const Object&, const void*), const void* context) {
  return registry.findIf(test, context);
}

Ref<Object> removeObject(ViObject handle) {
  return registry.remove(handle);
}

Ref<Object> removeObjectOf(ViSession manager) {
  return registry.removeOf(manager);
}

}  // namespace qvstd
