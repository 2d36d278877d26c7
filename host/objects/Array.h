// Arrays of the host language.
#pragma once

#include <cstdint>

#include "host/objects/Memory.h"
#include "host/objects/Object.h"

namespace host {

/// Element types; the numbers are this host's.
enum class ElementType : int32_t {
  kInt32,
  kUInt32,
  kInt64,
  kUInt64,
  kUInt16,
  kUInt8,
  kSingle,
  kDouble,
  kString,
  kObject,
};

class Array final : public Object {
 public:
  using Handle = REALarrayStruct;

  /// `bound` + 1 zero or nil elements; the new array has no reference yet.
  static Array* create(Host& host, ElementType type, int bound);

  ElementType type() const { return type_; }
  int bound() const { return count_ - 1; }
  bool contains(int index) const { return index >= 0 && index < count_; }
  /// Reads, writes or inserts one element bit by bit; `T` must be the element's type. An index out
  /// of bounds is reported and reads as 0.
  template <typename T>
  T get(int index) const;
  template <typename T>
  void set(int index, T value);
  template <typename T>
  void insert(int index, T value);

  std::string details() const override;
  std::string_view className() const override { return "Array"; }

 private:
  Array(Host& host, ElementType type, int bound);
  REALarrayStruct* record() const { return static_cast<REALarrayStruct*>(handle()); }
  size_t width() const;
  bool check(int index, int limit) const;
  void resize(int count);
  void collectFields(std::vector<Object*>& objects) const override;
  void publishReferences(int) override {}
  void dispose() override;

  ElementType type_;
  int count_ = 0;
  Memory elements_;
};

using ArrayRef = Ref<Array>;

}  // namespace host
