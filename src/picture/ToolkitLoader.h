// cairo and GDK, opened at run time when the first picture needs them: console and web applications
// run on machines that have neither.
#pragma once

#include <cstdint>

struct _GdkPixbuf;
struct _GdkDrawable;
struct _GdkColormap;
struct _cairo;
struct _cairo_surface;

// Null until loaded. Each holds the function of its name without the leading underscore.
extern uint8_t* (*_gdk_pixbuf_get_pixels)(const _GdkPixbuf*);
extern int (*_gdk_pixbuf_get_rowstride)(const _GdkPixbuf*);
extern _GdkPixbuf* (*_gdk_pixbuf_get_from_drawable)(_GdkPixbuf* destination, _GdkDrawable* source,
                                                    _GdkColormap* colormap, int sourceX,
                                                    int sourceY, int destinationX, int destinationY,
                                                    int width, int height);
extern void (*_gdk_pixbuf_unref)(_GdkPixbuf*);
extern uint8_t* (*_cairo_image_surface_get_data)(_cairo_surface*);
extern int (*_cairo_image_surface_get_width)(_cairo_surface*);
extern int (*_cairo_image_surface_get_height)(_cairo_surface*);
extern int (*_cairo_image_surface_get_stride)(_cairo_surface*);
extern _cairo_surface* (*_cairo_get_target)(_cairo*);

/// Opens GDK (of GTK 2) on the first call; whether its four functions can be called. A failure is
/// final.
bool LoadGTK() noexcept;

/// Opens cairo on the first call; whether its five functions can be called. A failure is final.
bool LoadCairo() noexcept;
