#include "host/objects/Object.h"

#include <cstdlib>

#include "host/Host.h"

namespace host {

namespace {

// Stands in front of every record, so that a handle leads to its object and a pointer to anything
// else is noticed.
struct alignas(16) Tag {
  uint64_t magic;
  Object* object;
};
constexpr uint64_t kMagic = 0x7a766b686f737421;

Tag* tagOf(const void* handle) {
  return reinterpret_cast<Tag*>(reinterpret_cast<uintptr_t>(handle) - sizeof(Tag));
}

}  // namespace

Object::Object(Host& host, std::string_view kind, size_t recordSize)
    : host_(host), kind_(kind), recordSize_(recordSize) {
  void* block = calloc(1, sizeof(Tag) + recordSize);
  if (block == nullptr) abort();
  new (block) Tag{kMagic, this};
  handle_ = static_cast<uint8_t*>(block) + sizeof(Tag);
  host.addObject(*this);
}

Object::~Object() { free(tagOf(handle_)); }

Object* Object::behind(const void* handle) {
  if (handle == nullptr) return nullptr;
  const Tag* tag = tagOf(handle);
  return tag->magic == kMagic ? tag->object : nullptr;
}

std::string Object::name() const { return std::string(kind_) + "#" + std::to_string(number_); }

void Object::lock() {
  ++references_;
  publishReferences(references_);
}

void Object::hold() {
  ++held_;
  lock();
}

void Object::unlock() {
  --references_;
  settle();
}

void Object::drop() {
  --held_;
  unlock();
}

// While the host's side holds the object it stays, even when the plug-in released too often.
void Object::settle() {
  publishReferences(references_);
  if (references_ > 0 || held_ > 0 || !alive_) return;
  // Now or never: the accounts are of the living.
  if (references_ < 0) {
    host_.report(name() + ": released " + std::to_string(-references_) + " time(s) too often",
                 Problem::Kind::kOverRelease);
  }
  alive_ = false;
  dispose();
  host_.removeObject(*this);
}

void Object::publishReferences(int references) {
  static_cast<HostObjectHeader*>(handle_)->lockCount = references;
}

Value Object::property(std::string_view) const { return {}; }
bool Object::setProperty(std::string_view, const Value&) { return false; }
void* Object::method(std::string_view) { return nullptr; }

}  // namespace host
