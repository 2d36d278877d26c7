#include "host/plugin/Call.h"

#include <cmath>

namespace host {

using grammar::Type;

namespace {

// In the order of grammar::Type.
struct TypeTraits {
  const char* name;
  ffi_type* ffi;
  bool isHandle;
};
const TypeTraits kTraits[] = {
    {"nothing", &ffi_type_void, false},       {"picture", &ffi_type_pointer, true},
    {"memoryblock", &ffi_type_pointer, true}, {"string", &ffi_type_pointer, true},
    {"integer", &ffi_type_sint32, false},     {"color", &ffi_type_sint32, false},
    {"boolean", &ffi_type_uint8, false},      {"double", &ffi_type_double, false},
};

const TypeTraits& traits(Type type) { return kTraits[static_cast<size_t>(type)]; }

bool fits(Type type, const Value& value) {
  switch (type) {
    case Type::kNothing:
      return false;
    case Type::kPicture:
      return value.isNil() || value.picture();
    case Type::kMemoryBlock:
      return value.isNil() || value.block();
    case Type::kString:
      return value.isNil() || value.isString();
    case Type::kInteger:
      return value.isInteger() || value.isColor();
    case Type::kColor:
      return value.isColor() || value.isInteger();
    case Type::kBoolean:
      return value.isBoolean();
    case Type::kDouble:
      return value.isNumber();
  }
  return false;
}

Value defaultFor(const grammar::Parameter& parameter) {
  const int32_t value = parameter.defaultValue.value_or(0);
  if (parameter.type == Type::kColor) return Color{static_cast<uint32_t>(value)};
  if (parameter.type == Type::kBoolean) return value != 0;
  if (parameter.type == Type::kDouble) return double(value);
  if (traits(parameter.type).isHandle) return nullptr;
  return int{value};
}

}  // namespace

Call::Call(const Method& method, const Value& self, std::vector<Value> arguments)
    : method_(method), self_(self) {
  const auto places = method.parametersFor(arguments.size());
  if (!places) throw CallError("wrong number of arguments for " + std::string(method.text()));
  const grammar::Declaration& declaration = method.declaration;
  for (int i = 0; i < declaration.parameterCount; ++i) {
    const grammar::Parameter& parameter = declaration.parameters[i];
    arguments_.push_back(parameter.byReference ? Value() : defaultFor(parameter));
  }
  for (size_t i = 0; i < arguments.size(); ++i) {
    arguments_[static_cast<size_t>((*places)[i])] = std::move(arguments[i]);
  }
}

Call::Cell Call::toCell(Type type, const Value& value, std::string_view what) const {
  if (!fits(type, value)) {
    throw CallError(value.describe() + " is no " + traits(type).name + " for " + std::string(what) +
                    " of " + std::string(method_.text()));
  }
  Cell cell{};
  if (traits(type).isHandle) {
    const Ref<Object> object = value.object();
    cell.handle = object ? object->handle() : nullptr;
  } else if (type == Type::kDouble) {
    cell.number = value.number();
  } else if (type == Type::kBoolean) {
    cell.boolean = value.boolean();
  } else {
    cell.integer = static_cast<int32_t>(value.integer());
  }
  return cell;
}

namespace {

// What came back as an object. Anything else than a living object of the type is reported.
Object* resultObject(Type type, const void* handle) {
  if (handle == nullptr) return nullptr;
  Object* object = Host::object(handle);
  const bool alive = object && object->alive();
  const bool fits = type == Type::kPicture  ? dynamic_cast<Picture*>(object) != nullptr
                    : type == Type::kString ? dynamic_cast<String*>(object) != nullptr
                                            : dynamic_cast<MemoryBlock*>(object) != nullptr;
  if (!alive || !fits) {
    Host::current().report("the result, " + (object ? object->name() : "an unknown address") +
                               ", is no living " + traits(type).name,
                           Problem::Kind::kResult);
  }
  return alive ? object : nullptr;
}

}  // namespace

Value Call::fromCell(Type type, const Cell& cell, bool takeOver) {
  switch (type) {
    case Type::kInteger:
      return int{cell.integer};
    case Type::kColor:
      return Color{static_cast<uint32_t>(cell.integer)};
    case Type::kBoolean:
      return cell.boolean != 0;
    case Type::kDouble:
      return cell.number;
    case Type::kNothing:
      return {};
    default:
      break;
  }
  Object* object = resultObject(type, cell.handle);
  const Ref<Object> reference = takeOver ? Ref<Object>::adopt(object) : Ref<Object>(object);
  if (type != Type::kString) return reference;
  return StringRef(dynamic_cast<String*>(object));
}

void Call::pass(Type type, const Value& value, std::string_view what) {
  cells_.push_back(toCell(type, value, what));
  types_.push_back(traits(type).ffi);
  values_.push_back(&cells_.back());
}

// A variable's reference is the plug-in's to release while it may store another one.
void Call::passVariable(Type type, const Value& value, std::string_view what) {
  variables_.push_back(
      toCell(type, value.isNothing() ? defaultFor({{}, type, true, {}}) : value, what));
  if (traits(type).isHandle) {
    if (Object* object = Host::object(variables_.back().handle)) object->lock();
  }
  Cell pointer{};
  pointer.handle = &variables_.back();
  cells_.push_back(pointer);
  types_.push_back(&ffi_type_pointer);
  values_.push_back(&cells_.back());
}

std::vector<ByReferenceResult> Call::collectVariables() const {
  std::vector<ByReferenceResult> results;
  size_t next = 0;
  for (int i = 0; i < method_.declaration.parameterCount; ++i) {
    const grammar::Parameter& parameter = method_.declaration.parameters[i];
    if (!parameter.byReference) continue;
    results.push_back({parameter.name, fromCell(parameter.type, variables_[next++], true)});
  }
  return results;
}

CallResult Call::run(Host& host, void* routine, const Value* assigned) {
  if (method_.kind != Method::Kind::kGlobal) {
    const Ref<Object> self = self_.object();
    Cell cell{};
    cell.handle = self ? self->handle() : nullptr;
    cells_.push_back(cell);
    types_.push_back(&ffi_type_pointer);
    values_.push_back(&cells_.back());
  }
  // Everything is checked before the first reference is given away.
  const grammar::Declaration& declaration = method_.declaration;
  for (int i = 0; i < declaration.parameterCount; ++i) {
    const grammar::Parameter& parameter = declaration.parameters[i];
    if (parameter.byReference && arguments_[i].isNothing()) continue;
    toCell(parameter.type, arguments_[i], parameter.name);
  }
  if (assigned) toCell(declaration.result, *assigned, "the assigned value");
  for (int i = 0; i < declaration.parameterCount; ++i) {
    const grammar::Parameter& parameter = declaration.parameters[i];
    if (parameter.byReference) {
      passVariable(parameter.type, arguments_[i], parameter.name);
    } else {
      pass(parameter.type, arguments_[i], parameter.name);
    }
  }
  if (assigned) pass(declaration.result, *assigned, "the assigned value");

  const Type resultType = assigned ? Type::kNothing : declaration.result;
  ffi_cif interface;
  if (ffi_prep_cif(&interface, FFI_DEFAULT_ABI, static_cast<unsigned>(types_.size()),
                   traits(resultType).ffi, types_.data()) != FFI_OK) {
    throw CallError("no call interface for " + std::string(method_.text()));
  }
  Cell result{};
  ffi_call(&interface, reinterpret_cast<void (*)()>(routine), &result, values_.data());

  CallResult outcome{&method_, fromCell(resultType, result, true), collectVariables()};
  if (auto exception = host.takeException()) throw ExceptionRaised(std::move(*exception));
  return outcome;
}

}  // namespace host
