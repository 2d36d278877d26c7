// Objects of the host: reference-counted, alive behind the handles that plug-ins hold, and kept as
// tombstones after their release so that a later use is reported instead of crashing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "frame/Abi.h"

namespace host {

class Host;
class Value;

/// Base of everything that a handle can stand for.
///
/// A reference is either the plug-in's or held on the host's side (by a Ref of a test or tool, or
/// by another object). The accounts compare both: a reference that nobody on the host's side knows
/// of has leaked, one that is missing was released twice.
class Object {
 public:
  using Handle = REALobjectStruct;

  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object();

  /// The object behind a handle, also when it was released; null for nil and for what is no handle.
  static Object* behind(const void* handle);
  /// What plug-ins hold: the address of the object's record, whose layout Abi.h gives.
  void* handle() const { return handle_; }
  /// Stable name for logs and messages, such as "picture#3".
  std::string name() const;
  /// More about the object for messages, such as its size; may be empty.
  virtual std::string details() const { return {}; }
  /// The host-language class.
  virtual std::string_view className() const = 0;

  Host& host() const { return host_; }
  bool alive() const { return alive_; }
  int references() const { return references_; }
  /// References held on the host's side; part of references().
  int held() const { return held_; }

  /// Adds or releases a reference of the plug-in's. The last release disposes of the object.
  void lock();
  void unlock();
  /// Adds or releases a reference of the host's side.
  void hold();
  void drop();
  /// Turns a plug-in's reference into one of the host's side, and back.
  void takeOver() { ++held_; }
  void surrender() { --held_; }

  /// Reads a property of the host language; a Value that holds nothing when there is none.
  virtual Value property(std::string_view name) const;
  /// Writes a property; false when there is no such property or the type does not fit.
  virtual bool setProperty(std::string_view name, const Value& value);
  /// Adds the objects that fields of this one refer to, each with one reference of the plug-in's
  /// kind.
  virtual void collectFields(std::vector<Object*>&) const {}
  /// Address of the method with exactly this declaration; null when there is none.
  virtual void* method(std::string_view declaration);

 protected:
  /// `kind` names the object in messages; `recordSize` bytes of zeroed record are allocated.
  Object(Host& host, std::string_view kind, size_t recordSize);
  /// Releases what the object owns; called once, when the last reference goes.
  virtual void dispose() {}
  /// Tells the record, where it has a count, the number of references.
  virtual void publishReferences(int references);

 private:
  friend class Host;
  void settle();

  Host& host_;
  std::string_view kind_;
  int number_ = 0;  ///< counts the objects of one kind
  size_t recordSize_ = 0;
  size_t liveIndex_ = 0;  ///< position in the host's list of living objects
  void* handle_ = nullptr;
  int references_ = 0;
  int held_ = 0;
  bool alive_ = true;
};

/// Holds one reference to an object on the host's side, or nil. Must not outlive the Host.
template <typename T>
class Ref {
 public:
  Ref() = default;
  Ref(std::nullptr_t) {}
  explicit Ref(T* object) : object_(object) {
    if (object_) object_->hold();
  }
  Ref(const Ref& other) : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <typename U>
  requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other)
      : Ref(static_cast<T*>(other.get())) {}
  ~Ref() {
    if (object_) object_->drop();
  }
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  /// Takes over the reference that a plug-in's result carries. Null gives nil.
  static Ref adopt(T* object) {
    Ref result;
    result.object_ = object;
    if (object) object->takeOver();
    return result;
  }
  /// Gives the reference to the plug-in; the Ref is nil afterwards.
  T* surrender() {
    if (object_) object_->surrender();
    return std::exchange(object_, nullptr);
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  friend bool operator==(const Ref& a, const Ref& b) { return a.object_ == b.object_; }

  /// The handle as the plug-in's routines take it, still borrowed:
  /// `picture.as<REALobjectStruct>()`.
  template <typename Handle = typename T::Handle>
  Handle* as() const {
    return object_ ? static_cast<Handle*>(object_->handle()) : nullptr;
  }
  typename T::Handle* handle() const { return as<>(); }

 private:
  T* object_ = nullptr;
};

}  // namespace host
