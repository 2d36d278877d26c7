// Stands in for GDK where only the plug-in's own work on byte triples is measured: a "drawable" is
// a TriplePixels, and the copy that is asked for is the same pixels, at no cost. It is loaded under
// the name by which the plug-in looks for GDK.
#include "GdkStandIn.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT TriplePixels* gdk_pixbuf_get_from_drawable(void*, TriplePixels* drawable, void*, int, int,
                                                  int, int, int, int) {
  return drawable;
}
EXPORT uint8_t* gdk_pixbuf_get_pixels(const TriplePixels* pixbuf) { return pixbuf->pixels; }
EXPORT int gdk_pixbuf_get_rowstride(const TriplePixels* pixbuf) { return pixbuf->rowBytes; }
EXPORT void gdk_pixbuf_unref(TriplePixels*) {}
