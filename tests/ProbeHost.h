// A host with the probe in it, for tests of routines that the plug-in keeps to itself.
#pragma once

#include <stdexcept>

#include "Support.h"
#include "probe/Probe.h"

namespace test {

inline const Probe& probeOf(const host::Plugin& plugin) {
  const auto* probe = static_cast<const Probe*>(plugin.symbol("zvkProbe"));
  if (probe == nullptr) throw std::runtime_error("the probe has no table");
  return *probe;
}

/// A host with the probe loaded in place of the plug-in, and started.
class ProbeHost : public PluginHost {
 public:
  template <typename Settings>
  explicit ProbeHost(const Settings& settings)
      : PluginHost(settings, ZVK_PROBE_FILE), probe(probeOf(plugin)) {}

  const Probe& probe;
};

}  // namespace test
