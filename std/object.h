/// Handles: what a program holds of the resource managers, sessions and find lists that live here.
#pragma once

#include "QVvisa_std.h"

#include <atomic>
#include <utility>

namespace qvstd {

enum class Kind { Manager, Instrument, FindList };

/// Whatever has a handle. It lives until its handle is closed and the last operation on it has ended.
class Object {
public:
  /// @param manager  the resource manager that it goes down with; VI_NULL for a manager itself
  Object(Kind kind, ViSession manager) : kind_(kind), manager_(manager) {}
  virtual ~Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  Kind kind() const { return kind_; }
  ViSession manager() const { return manager_; }
  ViObject handle() const { return handle_; }

private:
  friend class Registry;
  template <typename T>
  friend class Ref;

  const Kind kind_;
  const ViSession manager_;
  ViObject handle_ = VI_NULL;
  Object* next_ = nullptr;
  std::atomic<unsigned> uses_{1};
};

/// One use of an object, or none.
template <typename T>
class Ref {
public:
  Ref() = default;
  /// Takes over a use.
  explicit Ref(Object* object) : object_(static_cast<T*>(object)) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  /// The same object under the type that its kind tells.
  template <typename Base>
  explicit Ref(Ref<Base>&& other) : object_(static_cast<T*>(std::exchange(other.object_, nullptr))) {}
  Ref& operator=(Ref&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  ~Ref() {
    if (object_ && object_->uses_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete object_;
  }

  explicit operator bool() const { return object_ != nullptr; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  /// Gives the use away.
  T* release() { return std::exchange(object_, nullptr); }

private:
  template <typename>
  friend class Ref;

  T* object_ = nullptr;
};

/// Gives a new object a handle; from then on the handle's holder owns it.
ViObject addObject(Object* object);
/// The object of a handle, for the length of an operation.
Ref<Object> findObject(ViObject handle);
/// The first object that a test is true of.
Ref<Object> findObjectIf(bool (*test)(const Object& object, const void* context), const void* context);
/// Takes an object out of its handle, which is invalid from then on.
Ref<Object> removeObject(ViObject handle);
/// Takes out one of the objects that go down with a resource manager, until none is left.
Ref<Object> removeObjectOf(ViSession manager);

/// The object of a handle if it is of the right kind.
template <typename T>
Ref<T> find(ViObject handle) {
  Ref<Object> object = findObject(handle);
  if (!object || object->kind() != T::kKind) return {};
  return Ref<T>(std::move(object));
}

}  // namespace qvstd
