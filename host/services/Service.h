// How a host service is made callable: a plain function that plug-ins resolve by name, in front of
// an implementation. In between, calls are counted, logged, and made to fail on request.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "frame/FixedString.h"
#include "host/Host.h"

namespace host {

struct Service {
  std::string_view name;
  void* entry;
  bool canFail;
  int index = -1;  ///< position among all services, given by allServices()
};

/// Every service and every method of a host object; the latter have no entry in the resolver.
std::span<Service* const> allServices();

std::string describeHandle(const void* handle);
std::string describeText(const char* text);

template <typename T, typename... Handles>
inline constexpr bool kIsOneOf = (std::is_same_v<T, Handles*> || ...);
/// Pointers that stand for host objects; all others are mere addresses.
template <typename T>
inline constexpr bool kIsHandle =
    kIsOneOf<T, REALobjectStruct, REALpictureStruct, REALgraphicsStruct, REALstringStruct,
             REALmemoryBlockStruct, REALclassRefStruct, REALarrayStruct, REALintArrayStruct,
             REALstringArrayStruct, REALobjectArrayStruct, REALcontrolInstanceStruct,
             REALfolderItemStruct>;

template <typename T>
std::string describeArgument(T value) {
  if constexpr (std::is_same_v<T, const char*>) {
    return describeText(value);
  } else if constexpr (std::is_enum_v<T>) {
    return std::to_string(static_cast<int>(value));
  } else if constexpr (std::is_arithmetic_v<T>) {
    return Value(static_cast<std::conditional_t<std::is_floating_point_v<T>, double, long long>>(
                     value))
        .describe();
  } else if constexpr (kIsHandle<T>) {
    return describeHandle(value);
  } else {
    return value == nullptr ? "nil" : "address";
  }
}

struct NoFailure {};
/// For services that cannot fail: a host that keeps no count of its references does not run.
struct NeverFails {};

/// The service `name`, implemented by a function (Host&, arguments...). When a call is to fail,
/// `failure` runs instead, if it is a function, and the result is 0, null or false.
template <FixedString name, auto implementation, auto failure = NoFailure{}>
struct ServiceEntry;

template <FixedString name, typename R, typename... A, R (*implementation)(Host&, A...),
          auto failure>
struct ServiceEntry<name, implementation, failure> {
  static R entry(A... arguments) {
    Host& host = Host::current();
    ServiceState& state = host.state(service.index);
    const int call = ++state.calls;
    const bool fails =
        state.failingFrom != 0 && call >= state.failingFrom && call <= state.failingUntil;
    const size_t logged = host.calls().size();
    if (host.settings.logging) {
      host.calls().push_back({service.name, {describeArgument(arguments)...}, {}});
    }
    if (fails) {
      if constexpr (requires { failure(host, arguments...); }) failure(host, arguments...);
      return R();
    }
    if constexpr (std::is_void_v<R>) {
      implementation(host, arguments...);
    } else {
      R result = implementation(host, arguments...);
      if (host.settings.logging && logged < host.calls().size()) {
        host.calls()[logged].result = describeArgument(result);
      }
      return result;
    }
  }
  static inline Service service{name.text, reinterpret_cast<void*>(&entry),
                                !std::is_same_v<decltype(failure), const NeverFails>};
};

template <FixedString name, auto implementation, auto failure = NoFailure{}>
constexpr Service* service() {
  return &ServiceEntry<name, implementation, failure>::service;
}

}  // namespace host
