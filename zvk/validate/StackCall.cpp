#include "StackCall.h"

#include <cstring>

namespace zvk::validation {

#if defined(__i386__)

namespace {

using grammar::Type;

struct Registers {
  uint32_t low, high;
  double number;
};

/// Calls with the words as arguments. A double result is taken off the floating-point stack.
Registers callRoutine(int offset, void* routine, const std::vector<uint32_t>& words,
                      bool givesDouble) {
  const uint32_t* first = words.data();
  const uint32_t* next = first + words.size();
  auto room = static_cast<uint32_t>(4 * words.size());
  Registers result{};
  // ebx keeps the stack pointer over the call; the words are pushed from the last to the first.
  asm volatile(
      "movl %%esp, %%ebx\n\t"
      "subl %%ecx, %%esp\n\t"
      "andl $-16, %%esp\n\t"
      "subl $16, %%esp\n\t"
      "addl %%edi, %%esp\n\t"
      "addl %%ecx, %%esp\n"
      "1:\n\t"
      "cmpl %%edx, %%esi\n\t"
      "jbe 2f\n\t"
      "subl $4, %%esi\n\t"
      "pushl (%%esi)\n\t"
      "jmp 1b\n"
      "2:\n\t"
      "call *%%eax\n\t"
      "movl %%ebx, %%esp\n\t"
      : "=a"(result.low), "+S"(next), "+d"(first), "+c"(room)
      : "0"(routine), "D"(offset)
      : "ebx", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7");
  if (givesDouble) asm volatile("fstpl %0" : "=m"(result.number)::"memory");
  return result;
}

uint32_t wordOf(const host::Ref<host::Object>& object) {
  return object ? reinterpret_cast<uintptr_t>(object->handle()) : 0;
}

host::Value adopted(uint32_t handle) {
  auto* object = host::Host::object(reinterpret_cast<void*>(handle));
  const auto reference = host::Ref<host::Object>::adopt(object);
  if (auto* string = dynamic_cast<host::String*>(object)) return host::StringRef(string);
  return reference;
}

host::Value valueOf(Type type, const Registers& given) {
  switch (type) {
    case Type::kNothing:
      return {};
    case Type::kInteger:
      return static_cast<int>(given.low);
    case Type::kColor:
      return host::Color{given.low};
    case Type::kBoolean:
      return (given.low & 0xFF) != 0;
    case Type::kDouble:
      return given.number;
    default:
      return given.low ? adopted(given.low) : host::Value(nullptr);
  }
}

}  // namespace

bool canMoveStack() { return true; }

host::CallResult callWithStackAt(int offset, host::Host&, const DeclaredCall& call) {
  const grammar::Declaration& declaration = call.method->declaration;
  std::vector<uint32_t> words;
  uint32_t variables[2 * grammar::kMaxParameters] = {};
  if (call.method->kind != host::Method::Kind::kGlobal) words.push_back(wordOf(call.self.object()));
  for (int i = 0; i < declaration.parameterCount; ++i) {
    const grammar::Parameter& parameter = declaration.parameters[i];
    const host::Value& value = call.arguments[static_cast<size_t>(i)];
    if (parameter.byReference) {
      words.push_back(reinterpret_cast<uintptr_t>(&variables[2 * i]));
    } else if (parameter.type == Type::kDouble) {
      const double number = value.number();
      uint32_t halves[2];
      memcpy(halves, &number, sizeof halves);
      words.insert(words.end(), halves, halves + 2);
    } else if (parameter.type == Type::kBoolean) {
      words.push_back(value.boolean());
    } else if (parameter.type == Type::kInteger || parameter.type == Type::kColor) {
      words.push_back(static_cast<uint32_t>(value.integer()));
    } else {
      words.push_back(wordOf(value.object()));
    }
  }
  const Registers given = callRoutine(offset, call.method->definition->routine, words,
                                      declaration.result == Type::kDouble);
  host::CallResult result{call.method, valueOf(declaration.result, given), {}};
  for (int i = 0; i < declaration.parameterCount; ++i) {
    const grammar::Parameter& parameter = declaration.parameters[i];
    if (!parameter.byReference) continue;
    Registers variable{variables[2 * i], variables[2 * i + 1], 0};
    memcpy(&variable.number, &variables[2 * i], sizeof variable.number);
    result.byReference.push_back({parameter.name, valueOf(parameter.type, variable)});
  }
  return result;
}

#else

bool canMoveStack() { return false; }
host::CallResult callWithStackAt(int, host::Host&, const DeclaredCall&) { return {}; }

#endif

}  // namespace zvk::validation
