// Instances of the filter classes in tests.
#pragma once

#include "Support.h"

namespace test {

/// An instance of a filter class with its properties set.
inline host::InstanceRef newFilter(const PluginHost& setup, std::string_view className,
                                   const host::PropertyObject::Properties& properties = {}) {
  host::InstanceRef filter = setup.plugin.newInstance(className);
  for (const auto& [name, value] : properties) {
    EXPECT_TRUE(filter->setProperty(name, value)) << name;
  }
  return filter;
}

inline bool run(const PluginHost& setup, const host::InstanceRef& filter) {
  return setup.plugin.call(filter, "Run").boolean();
}

inline host::PictureRef destination(const host::InstanceRef& filter) {
  return filter->property("DestinationPicture").picture();
}

/// Colours of the destination after a successful run on `source`.
inline Pixels filtered(const PluginHost& setup, const host::InstanceRef& filter,
                       const host::PictureRef& source) {
  EXPECT_TRUE(filter->setProperty("SourcePicture", source));
  EXPECT_TRUE(run(setup, filter));
  return colors(destination(filter));
}

/// The colour that a filter makes of one colour.
inline Rgb filtered(PluginHost& setup, const host::InstanceRef& filter, Rgb color) {
  const Pixels result = filtered(setup, filter, setup.picture(1, 1, {opaque(color)}));
  return result.empty() ? Rgb{-1, -1, -1} : rgbOf(result[0]);
}

inline bool operator==(Rgb a, Rgb b) {
  return a.red == b.red && a.green == b.green && a.blue == b.blue;
}
inline void PrintTo(Rgb c, std::ostream* out) {
  *out << "(" << c.red << ", " << c.green << ", " << c.blue << ")";
}

}  // namespace test
