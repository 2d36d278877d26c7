// Libraries that few need are opened when they are first used.
#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace host {

/// A library by file name, open as long as the process lives. Throws std::runtime_error when it, or
/// one of its functions, cannot be had.
class Library {
 public:
  explicit Library(const char* file) : handle_(dlopen(file, RTLD_NOW | RTLD_GLOBAL)) {
    if (handle_ == nullptr) throw std::runtime_error(std::string("cannot load ") + dlerror());
  }

  /// A function of the library or of those that it needs, by the name that its header declares:
  /// `decltype(&gdk_flush) flush = library.function("gdk_flush")`.
  class Function {
   public:
    explicit Function(void* address) : address_(address) {}
    template <typename Signature>
    operator Signature*() const {  // NOLINT(google-explicit-constructor)
      return reinterpret_cast<Signature*>(address_);
    }

   private:
    void* address_;
  };
  Function function(const char* name) const {
    void* address = dlsym(handle_, name);
    if (address == nullptr) throw std::runtime_error(std::string("cannot load ") + dlerror());
    return Function(address);
  }

 private:
  void* handle_;
};

}  // namespace host

/// Declares a member `name` of a table of functions with a member `library`, with the type that the
/// header gives it.
#define ZVK_FUNCTION(name) decltype(&::name) name = library.function(#name)
