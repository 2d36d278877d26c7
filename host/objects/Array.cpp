#include "host/objects/Array.h"

#include <cstring>

#include "host/Host.h"

namespace host {

namespace {

constexpr size_t kWidths[] = {4, 4, 8, 8, 2, 1, 4, 8, sizeof(void*), sizeof(void*)};

}  // namespace

Array::Array(Host& host, ElementType type, int bound)
    : Object(host, "array", sizeof(REALarrayStruct)), type_(type) {
  resize(bound + 1);
}

Array* Array::create(Host& host, ElementType type, int bound) {
  const auto code = static_cast<size_t>(type);
  if (code >= std::size(kWidths) || bound < -1) return nullptr;
  return new Array(host, type, bound);
}

size_t Array::width() const { return kWidths[static_cast<size_t>(type_)]; }

void Array::resize(int count) {
  Memory elements(width() * count, Placement::kHeap);
  if (elements_.data()) {
    memcpy(elements.data(), elements_.data(), width() * std::min(count, count_));
  }
  elements_ = std::move(elements);
  count_ = count;
  record()->elements = elements_.data();
}

bool Array::check(int index, int limit) const {
  if (index >= 0 && index < limit) return true;
  host().report(name() + ": index " + std::to_string(index) + " is out of bounds");
  return false;
}

template <typename T>
T Array::get(int index) const {
  T value{};
  if (!check(index, count_)) return value;
  memcpy(&value, elements_.data() + index * sizeof(T), sizeof(T));
  if constexpr (std::is_pointer_v<T>) {
    if (Object* object = Host::object(value)) object->lock();
  }
  return value;
}

template <typename T>
void Array::set(int index, T value) {
  if (!check(index, count_)) return;
  uint8_t* place = elements_.data() + index * sizeof(T);
  if constexpr (std::is_pointer_v<T>) {
    T old;
    memcpy(&old, place, sizeof(T));
    if (Object* object = Host::object(value)) object->lock();
    if (Object* object = Host::object(old)) object->unlock();
  }
  memcpy(place, &value, sizeof(T));
}

template <typename T>
void Array::insert(int index, T value) {
  if (!check(index, count_ + 1)) return;
  resize(count_ + 1);
  uint8_t* place = elements_.data() + index * sizeof(T);
  memmove(place + sizeof(T), place, (count_ - 1 - index) * sizeof(T));
  memset(place, 0, sizeof(T));
  set(index, value);
}

void Array::collectFields(std::vector<Object*>& objects) const {
  if (type_ != ElementType::kString && type_ != ElementType::kObject) return;
  for (int i = 0; i < count_; ++i) {
    void* handle;
    memcpy(&handle, elements_.data() + i * sizeof handle, sizeof handle);
    if (Object* object = Host::object(handle)) objects.push_back(object);
  }
}

void Array::dispose() {
  std::vector<Object*> objects;
  collectFields(objects);
  for (Object* object : objects) object->unlock();
  elements_ = Memory();
  count_ = 0;
}

std::string Array::details() const { return std::to_string(count_) + " elements"; }

#define INSTANTIATE(T)                 \
  template T Array::get<T>(int) const; \
  template void Array::set<T>(int, T); \
  template void Array::insert<T>(int, T)
INSTANTIATE(HostLong);
INSTANTIATE(HostULong);
INSTANTIATE(long long);
INSTANTIATE(unsigned long long);
INSTANTIATE(unsigned short);
INSTANTIATE(unsigned char);
INSTANTIATE(float);
INSTANTIATE(double);
INSTANTIATE(REALstringStruct*);
INSTANTIATE(REALobjectStruct*);
#undef INSTANTIATE

}  // namespace host
