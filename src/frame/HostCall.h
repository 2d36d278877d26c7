// How the plug-in reaches the host: every service is a function inside the host process, found once
// by name through the resolver and then called directly.
#pragma once

#include "Abi.h"
#include "FixedString.h"

/// The host's resolver; null until the host has called REALPluginMain.
extern HostResolver gResolver;

/// Asks the resolver for a service, without any cache. Null when there is none, or no resolver yet.
void* HCallResolver(const char* entryName) noexcept;

/// Cache of one service's address. A missing service is asked for again at each call, since hosts
/// may come to offer it later; an address once found stays.
template <typename Signature>
class ServiceSlot {
 public:
  Signature* resolve(const char* entryName) noexcept {
    if (entry_ == nullptr) entry_ = reinterpret_cast<Signature*>(HCallResolver(entryName));
    return entry_;
  }
  void use(Signature* substitute) noexcept { entry_ = substitute; }

 private:
  Signature* entry_ = nullptr;
};

/// The one slot of each pair of service name and C signature.
template <FixedString entryName, typename Signature>
inline constinit ServiceSlot<Signature> serviceSlot;

/// Calls the host service `entryName` with exactly the given arguments. When the host lacks it,
/// nothing is called and the result is 0, null or false.
template <FixedString entryName, typename Result = void, typename... Args>
Result callHost(Args... args) noexcept {
  auto* entry = serviceSlot<entryName, Result(Args...)>.resolve(entryName.text);
  if (entry == nullptr) return Result();
  return entry(args...);
}

/// Whether the host has the service `entryName` that takes such arguments and gives nothing.
template <FixedString entryName, typename... Args>
bool hostOffers() noexcept {
  return serviceSlot<entryName, void(Args...)>.resolve(entryName.text) != nullptr;
}
