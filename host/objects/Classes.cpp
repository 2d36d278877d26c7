#include "host/objects/Classes.h"

#include <algorithm>
#include <cstring>

#include "frame/DeclarationGrammar.h"
#include "host/Host.h"
#include "host/services/Services.h"

namespace host {

using grammar::equalIgnoringCase;

bool NameLess::operator()(std::string_view a, std::string_view b) const {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return grammar::lowerCase(x) < grammar::lowerCase(y);
  });
}

// --- PropertyObject -----------------------------------------------------------------------------

PropertyObject::PropertyObject(Host& host, std::string_view kind, std::string className,
                               Properties properties)
    : Object(host, kind, sizeof(HostObjectHeader)),
      className_(std::move(className)),
      properties_(std::move(properties)) {}

PropertyObject* PropertyObject::create(Host& host, std::string_view kind, std::string className,
                                       Properties properties) {
  return new PropertyObject(host, kind, std::move(className), std::move(properties));
}

Value PropertyObject::property(std::string_view name) const {
  const auto found = properties_.find(name);
  return found == properties_.end() ? Value() : found->second;
}

bool PropertyObject::setProperty(std::string_view name, const Value& value) {
  const auto found = properties_.find(name);
  if (found == properties_.end()) return false;
  Value& present = found->second;
  if (present.isColor() && (value.isColor() || value.isInteger())) {
    present = value.color();
  } else if (present.isDouble() && value.isNumber()) {
    present = value.number();
  } else if (present.isInteger() && value.isNumber()) {
    present = value.integer();
  } else if ((present.isBoolean() && value.isBoolean()) ||
             (present.isString() && value.isString()) || (present.isObject() && value.isObject())) {
    present = value;
  } else {
    return false;
  }
  return true;
}

void* PropertyObject::method(std::string_view declaration) {
  const bool isFolderItem = equalIgnoringCase(className_, "FolderItem");
  return isFolderItem ? findMethod(folderItemMethods(), declaration) : nullptr;
}

// --- Classes and instances ----------------------------------------------------------------------

ClassReference::ClassReference(Host& host, const ClassInfo& info)
    : Object(host, "class", sizeof(HostObjectHeader)), info_(info) {}

namespace {

using Lifecycle = void(REALobjectStruct*);

enum class FieldType { kPicture, kInteger, kDouble, kBoolean, kString, kUnknown };

FieldType fieldType(const REALpropertyDefinition& property) {
  constexpr struct {
    std::string_view name;
    FieldType type;
  } kTypes[] = {{"Picture", FieldType::kPicture}, {"Integer", FieldType::kInteger},
                {"Color", FieldType::kInteger},   {"Double", FieldType::kDouble},
                {"Boolean", FieldType::kBoolean}, {"String", FieldType::kString}};
  for (const auto& known : kTypes) {
    if (equalIgnoringCase(property.type, known.name)) return known.type;
  }
  return FieldType::kUnknown;
}

bool accepts(FieldType type, const Value& value) {
  switch (type) {
    case FieldType::kPicture:
      return value.isNil() || value.picture();
    case FieldType::kInteger:
      return value.isInteger() || value.isColor();
    case FieldType::kDouble:
      return value.isNumber();
    case FieldType::kBoolean:
      return value.isBoolean();
    case FieldType::kString:
      return value.isString() || value.isNil();
    case FieldType::kUnknown:
      return false;
  }
  return false;
}

Value toValue(Object* object) {
  if (auto* string = dynamic_cast<String*>(object)) return StringRef(string);
  return Ref<Object>(object);
}

// Reads and writes a value of C type T through accessors or in the instance data.
template <typename T>
T readField(const Instance& instance, const REALpropertyDefinition& property) {
  auto* self = static_cast<REALobjectStruct*>(instance.handle());
  if (property.getter != hostAccessor()) {
    if (property.getter == nullptr) return T{};
    return reinterpret_cast<T (*)(REALobjectStruct*, HostLong)>(property.getter)(
        self, property.parameter);
  }
  T value;
  memcpy(&value, instance.data() + property.parameter, sizeof value);
  return value;
}

template <typename T>
void writeField(const Instance& instance, const REALpropertyDefinition& property, T value) {
  auto* self = static_cast<REALobjectStruct*>(instance.handle());
  if (property.setter != hostAccessor()) {
    if (property.setter == nullptr) return;
    reinterpret_cast<void (*)(REALobjectStruct*, HostLong, T)>(property.setter)(
        self, property.parameter, value);
    return;
  }
  if constexpr (std::is_pointer_v<T>) {
    Object* old = Host::object(readField<T>(instance, property));
    if (Object* object = Host::object(value)) object->lock();
    if (old) old->unlock();
  }
  memcpy(instance.data() + property.parameter, &value, sizeof value);
}

}  // namespace

Instance::Instance(Host& host, const ClassInfo& info)
    : Object(host, "instance",
             static_cast<size_t>(info.definition->dataOffset) + info.definition->dataSize),
      info_(info) {}

Instance* Instance::create(Host& host, const ClassInfo& info) {
  auto* instance = new Instance(host, info);
  if (auto* construct = reinterpret_cast<Lifecycle*>(info.definition->constructor)) {
    construct(static_cast<REALobjectStruct*>(instance->handle()));
  }
  return instance;
}

uint8_t* Instance::data() const {
  return static_cast<uint8_t*>(handle()) + info_.definition->dataOffset;
}

void Instance::dispose() {
  if (info_.definition == nullptr) {
    host().report(name() + " outlived its plug-in");
  } else if (auto* destruct = reinterpret_cast<Lifecycle*>(info_.definition->destructor)) {
    destruct(static_cast<REALobjectStruct*>(handle()));
  }
}

const REALpropertyDefinition* Instance::declaredProperty(std::string_view name) const {
  if (info_.definition == nullptr) return nullptr;
  for (int i = 0; i < info_.definition->propertyCount; ++i) {
    const REALpropertyDefinition& property = info_.definition->properties[i];
    if (equalIgnoringCase(property.name, name)) return &property;
  }
  return nullptr;
}

void Instance::collectFields(std::vector<Object*>& objects) const {
  if (info_.definition == nullptr) return;
  for (int i = 0; i < info_.definition->propertyCount; ++i) {
    const REALpropertyDefinition& property = info_.definition->properties[i];
    if (property.getter != hostAccessor() || fieldType(property) != FieldType::kPicture) continue;
    if (Object* object = Host::object(readField<void*>(*this, property))) {
      objects.push_back(object);
    }
  }
}

Value Instance::property(std::string_view name) const {
  const REALpropertyDefinition* property = declaredProperty(name);
  if (property == nullptr) return {};
  switch (fieldType(*property)) {
    case FieldType::kPicture:
    case FieldType::kString: {
      // An accessor's result carries a reference; a field keeps its own.
      void* handle = readField<void*>(*this, *property);
      Object* object = Host::object(handle);
      Value value = toValue(object);
      if (object && property->getter != hostAccessor()) object->unlock();
      return value;
    }
    case FieldType::kInteger:
      return static_cast<int>(readField<HostLong>(*this, *property));
    case FieldType::kDouble:
      return readField<double>(*this, *property);
    case FieldType::kBoolean:
      return readField<HostBoolean>(*this, *property) != 0;
    case FieldType::kUnknown:
      break;
  }
  return {};
}

bool Instance::setProperty(std::string_view name, const Value& value) {
  const REALpropertyDefinition* property = declaredProperty(name);
  if (property == nullptr || !accepts(fieldType(*property), value)) return false;
  switch (fieldType(*property)) {
    case FieldType::kPicture:
    case FieldType::kString: {
      const Ref<Object> object = value.object();
      writeField<void*>(*this, *property, object ? object->handle() : nullptr);
      break;
    }
    case FieldType::kInteger:
      writeField(*this, *property, static_cast<HostLong>(value.integer()));
      break;
    case FieldType::kDouble:
      writeField(*this, *property, value.number());
      break;
    case FieldType::kBoolean:
      writeField(*this, *property, static_cast<HostBoolean>(value.boolean()));
      break;
    case FieldType::kUnknown:
      break;
  }
  return true;
}

}  // namespace host
