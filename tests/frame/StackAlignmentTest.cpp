// Hosts of another compiler's making call with a stack that is aligned to 4 bytes only.
#include <cstring>

#include "EveryMethod.h"
#include "Support.h"

namespace {

using namespace test;

#if defined(__i386__)

/// Calls with the words as arguments, and with a stack pointer `offset` bytes above a multiple of
/// 16 at the call. A double result is taken off the floating-point stack.
void* callWithStackAt(int offset, void* routine, const std::vector<uint32_t>& words,
                      bool givesDouble) {
  const uint32_t* first = words.data();
  const uint32_t* next = first + words.size();
  auto room = static_cast<uint32_t>(4 * words.size());
  void* result;
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
      : "=a"(result), "+S"(next), "+d"(first), "+c"(room)
      : "0"(routine), "D"(offset)
      : "ebx", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7");
  if (givesDouble) asm volatile("ffree %%st(0)\n\tfincstp" ::: "memory");
  return result;
}

#endif

TEST(StackAlignment, EveryMethodWorksWithAnyStack) {
#if !defined(__i386__)
  GTEST_SKIP() << "64-bit hosts keep the stack aligned";
#else
  using grammar::Type;
  PluginHost setup{host::PictureOptions{}};
  for (const DeclaredCall& call : everyCall(setup.plugin, setup.options, 37, 5, 3)) {
    if (call.method->kind == host::Method::Kind::kClass && call.method->name() == "Close") continue;
    std::vector<uint32_t> words;
    const auto addHandle = [&](const host::Ref<host::Object>& object) {
      words.push_back(object ? reinterpret_cast<uintptr_t>(object->handle()) : 0);
    };
    uint32_t variables[12] = {};
    bool byReference = false;
    if (call.self.object()) addHandle(call.self.object());
    for (int i = 0; i < call.method->declaration.parameterCount; ++i) {
      const grammar::Parameter& parameter = call.method->declaration.parameters[i];
      const host::Value& value = call.arguments[static_cast<size_t>(i)];
      if (parameter.byReference) {
        words.push_back(reinterpret_cast<uintptr_t>(&variables[i]));
        byReference = true;
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
        addHandle(value.object());
      }
    }
    const Type type = call.method->declaration.result;
    // In place operations change their own picture: every call starts from the same one.
    const host::PictureRef self = call.self.picture();
    const std::vector<uint32_t> source = self ? self->words() : std::vector<uint32_t>();
    const host::Value expected = make(setup.plugin, call).value;
    for (const int offset : {0, 4, 8, 12}) {
      if (self) self->setWords(source);
      void* result =
          callWithStackAt(offset, call.method->definition->routine, words, type == Type::kDouble);
      if (type == Type::kPicture) {
        const auto picture = host::Host::adopt<host::Picture>(result);
        ASSERT_EQ(static_cast<bool>(picture), static_cast<bool>(expected.picture())) << call.text();
        if (picture) {
          EXPECT_EQ(picture->words(), expected.picture()->words()) << call.text() << offset;
        }
      } else if (type == Type::kString) {
        host::Host::adopt<host::String>(result);
      } else if (type == Type::kInteger) {
        EXPECT_EQ(reinterpret_cast<intptr_t>(result), expected.integer()) << call.text();
      } else if (type == Type::kBoolean) {
        EXPECT_EQ((reinterpret_cast<uintptr_t>(result) & 0xFF) != 0, expected.boolean())
            << call.text();
      }
      for (uint32_t& variable : variables) {
        const void* handle = reinterpret_cast<const void*>(variable);
        // Only blocks are handles; counts are small numbers.
        if (byReference && variable > 0xFFFF) {
          host::Host::adopt<host::MemoryBlock>(const_cast<void*>(handle));
        }
        variable = 0;
      }
      setup.host.takeException();
    }
  }
#endif
}

}  // namespace
