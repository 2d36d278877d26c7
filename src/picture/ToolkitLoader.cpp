#include "ToolkitLoader.h"

#include <dlfcn.h>

uint8_t* (*_gdk_pixbuf_get_pixels)(const _GdkPixbuf*) = nullptr;
int (*_gdk_pixbuf_get_rowstride)(const _GdkPixbuf*) = nullptr;
_GdkPixbuf* (*_gdk_pixbuf_get_from_drawable)(_GdkPixbuf*, _GdkDrawable*, _GdkColormap*, int, int,
                                             int, int, int, int) = nullptr;
void (*_gdk_pixbuf_unref)(_GdkPixbuf*) = nullptr;
uint8_t* (*_cairo_image_surface_get_data)(_cairo_surface*) = nullptr;
int (*_cairo_image_surface_get_width)(_cairo_surface*) = nullptr;
int (*_cairo_image_surface_get_height)(_cairo_surface*) = nullptr;
int (*_cairo_image_surface_get_stride)(_cairo_surface*) = nullptr;
_cairo_surface* (*_cairo_get_target)(_cairo*) = nullptr;

namespace {

constexpr const char* kGdkFiles[] = {
    "libgdk-x11-2.0.so",
    "libgdk-x11-2.0.so.0",
    "/usr/lib/libgdk-x11-2.0.so",
    "/usr/lib32/libgdk-x11-2.0.so",
    "/usr/lib/libgdk-x11-2.0.so.0",
    "/usr/lib32/libgdk-x11-2.0.so.0",
};

constexpr const char* kCairoFiles[] = {
    "libcairo.so",
    "libcairo.so.2",
    "libcairo.so.2.10800.10",
};

bool gdkTried = false;
bool gdkLoaded = false;
bool cairoTried = false;
bool cairoLoaded = false;

template <int count>
void* openFirst(const char* const (&files)[count]) noexcept {
  for (const char* file : files) {
    if (void* library = dlopen(file, RTLD_NOW)) return library;
  }
  return nullptr;
}

template <typename Function>
bool find(void* library, const char* name, Function*& function) noexcept {
  function = reinterpret_cast<Function*>(dlsym(library, name));
  return function != nullptr;
}

// Every function is looked up, also behind one that is missing.
bool findGdk(void* library) noexcept {
  bool all = find(library, "gdk_pixbuf_get_pixels", _gdk_pixbuf_get_pixels);
  all &= find(library, "gdk_pixbuf_get_rowstride", _gdk_pixbuf_get_rowstride);
  all &= find(library, "gdk_pixbuf_get_from_drawable", _gdk_pixbuf_get_from_drawable);
  all &= find(library, "gdk_pixbuf_unref", _gdk_pixbuf_unref);
  return all;
}

bool findCairo(void* library) noexcept {
  bool all = find(library, "cairo_image_surface_get_data", _cairo_image_surface_get_data);
  all &= find(library, "cairo_image_surface_get_width", _cairo_image_surface_get_width);
  all &= find(library, "cairo_image_surface_get_height", _cairo_image_surface_get_height);
  all &= find(library, "cairo_image_surface_get_stride", _cairo_image_surface_get_stride);
  all &= find(library, "cairo_get_target", _cairo_get_target);
  return all;
}

}  // namespace

bool LoadGTK() noexcept {
  if (gdkTried) return gdkLoaded;
  gdkTried = true;
  void* library = openFirst(kGdkFiles);
  gdkLoaded = library != nullptr && findGdk(library);
  return gdkLoaded;
}

bool LoadCairo() noexcept {
  if (cairoTried) return cairoLoaded;
  cairoTried = true;
  void* library = openFirst(kCairoFiles);
  cairoLoaded = library != nullptr && findCairo(library);
  return cairoLoaded;
}
