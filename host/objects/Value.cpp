#include "host/objects/Value.h"

#include <charconv>
#include <cstdio>
#include <iterator>

#include "host/objects/Classes.h"

namespace host {

namespace {

constexpr std::string_view kTypeNames[] = {"nothing", "integer", "double", "boolean",
                                           "color",   "string",  "object"};

}  // namespace

bool Value::isNil() const {
  return (isString() && !std::get<StringRef>(value_)) ||
         (isObject() && !std::get<Ref<Object>>(value_));
}

int64_t Value::integer() const {
  if (isInteger()) return std::get<int64_t>(value_);
  if (isDouble()) return static_cast<int64_t>(std::get<double>(value_));
  if (isColor()) return std::get<Color>(value_).rgb;
  if (isBoolean()) return std::get<bool>(value_);
  return 0;
}

double Value::number() const {
  return isDouble() ? std::get<double>(value_) : static_cast<double>(integer());
}

bool Value::boolean() const { return isBoolean() ? std::get<bool>(value_) : integer() != 0; }

Color Value::color() const { return {static_cast<uint32_t>(integer())}; }

StringRef Value::string() const { return isString() ? std::get<StringRef>(value_) : StringRef(); }

Ref<Object> Value::object() const {
  if (isString()) return std::get<StringRef>(value_);
  return isObject() ? std::get<Ref<Object>>(value_) : Ref<Object>();
}

PictureRef Value::picture() const { return PictureRef(dynamic_cast<Picture*>(object().get())); }
BlockRef Value::block() const { return BlockRef(dynamic_cast<MemoryBlock*>(object().get())); }
InstanceRef Value::instance() const { return InstanceRef(dynamic_cast<Instance*>(object().get())); }

std::string Value::text() const {
  const StringRef value = string();
  return value ? value->utf8() : std::string();
}

std::string Value::typeName() const {
  if (isNil()) return "nil";
  if (isObject()) {
    const std::string_view className = object()->className();
    if (className == "Picture") return "picture";
    return className == "MemoryBlock" ? "memoryblock" : std::string(className);
  }
  return std::string(kTypeNames[value_.index()]);
}

std::string Value::describe() const {
  char text[40];
  if (isNil()) return "nil";
  if (isBoolean()) return boolean() ? "true" : "false";
  if (isInteger()) return std::to_string(integer());
  if (isString()) return '"' + this->text() + '"';
  if (isObject()) return object()->name();
  if (isDouble()) return {text, std::to_chars(text, std::end(text), number()).ptr};
  if (isColor()) {
    snprintf(text, sizeof text, "&c%06X", color().rgb & 0xFFFFFF);
    return text;
  }
  return "nothing";
}

}  // namespace host
