// Drawing: services and the methods of Graphics.
#include <cstring>

#include "host/services/Services.h"

namespace host {

namespace {

constexpr HostLong kWholeSource = -10000;

void drawLine(Host& host, REALgraphicsStruct* handle, int x1, int y1, int x2, int y2) {
  auto* graphics = host.use<Graphics>(handle, "RuntimeGraphicsDrawLine");
  if (graphics) graphics->drawLine(x1, y1, x2, y2);
}

// The methods that draw a shape differ in what they call only.
template <auto draw>
void drawShape(Host& host, REALgraphicsStruct* handle, HostLong x, HostLong y, HostLong width,
               HostLong height) {
  auto* graphics = host.use<Graphics>(handle, "drawing");
  if (graphics) (graphics->*draw)(Area{int(x), int(y), int(width), int(height)});
}

template <auto draw>
void drawRounded(Host& host, REALgraphicsStruct* handle, HostLong x, HostLong y, HostLong width,
                 HostLong height, HostLong arcWidth, HostLong arcHeight) {
  auto* graphics = host.use<Graphics>(handle, "drawing");
  if (graphics) {
    (graphics->*draw)(Area{int(x), int(y), int(width), int(height)}, arcWidth, arcHeight);
  }
}

void drawPicture(Host& host, REALgraphicsStruct* handle, REALpictureStruct* image, HostLong x,
                 HostLong y, HostLong w, HostLong h, HostLong sx, HostLong sy, HostLong sw,
                 HostLong sh) {
  auto* graphics = host.use<Graphics>(handle, "Graphics.DrawPicture");
  auto* source = host.use<Picture>(image, "Graphics.DrawPicture");
  if (graphics == nullptr || source == nullptr) return;
  if (sw == kWholeSource) sw = source->width();
  if (sh == kWholeSource) sh = source->height();
  graphics->drawPicture(*source, Area{int(x), int(y), int(w), int(h)},
                        Area{int(sx), int(sy), int(sw), int(sh)});
}

// The rectangle is four 16-bit numbers: top, left, bottom, right.
void drawPrimitive(Host& host, REALgraphicsStruct* handle, REALpictureStruct* image,
                   const RB::Rect* rectangle, int) {
  auto* graphics = host.use<Graphics>(handle, "REALDrawPicturePrimitive");
  auto* source = host.use<Picture>(image, "REALDrawPicturePrimitive");
  if (graphics == nullptr || source == nullptr || rectangle == nullptr) return;
  int16_t edges[4];
  memcpy(edges, rectangle, sizeof edges);
  const auto [top, left, bottom, right] = edges;
  graphics->drawPicture(*source, Area{left, top, right - left, bottom - top},
                        Area{0, 0, source->width(), source->height()});
}

// Text is laid out by no one here; the call log shows it.
void drawString(Host& host, REALgraphicsStruct* handle, REALstringStruct*, HostLong, HostLong,
                HostLong) {
  host.use<Graphics>(handle, "RuntimeGraphicsDrawString");
}

// Older hosts have this service, but nobody knows its parameters: it must never be called.
void drawPictureOfOldHosts(Host& host) { host.report("RuntimeGraphicsDrawPicture was called"); }

void* deviceContext(Host& host, REALgraphicsStruct* handle) {
  auto* graphics = host.use<Graphics>(handle, "REALGraphicsDC");
  return graphics ? graphics->deviceContext() : nullptr;
}

void getOrigin(Host& host, REALgraphicsStruct* handle, HostLong* x, HostLong* y) {
  const auto* graphics = host.use<Graphics>(handle, "REALGetGraphicsOrigin");
  if (graphics == nullptr) return;
  *x = graphics->originX;
  *y = graphics->originY;
}

void setOrigin(Host& host, REALgraphicsStruct* handle, HostLong x, HostLong y) {
  auto* graphics = host.use<Graphics>(handle, "REALSetGraphicsOrigin");
  if (graphics == nullptr) return;
  graphics->originX = static_cast<int>(x);
  graphics->originY = static_cast<int>(y);
}

}  // namespace

std::span<Service* const> graphicsServices() {
  static Service* const kServices[] = {
      service<"RuntimeGraphicsDrawLine", drawLine>(),
      service<"REALDrawPicturePrimitive", drawPrimitive>(),
      service<"RuntimeGraphicsDrawString", drawString>(),
      service<"RuntimeGraphicsDrawPicture", drawPictureOfOldHosts>(),
      service<"REALGraphicsDC", deviceContext>(),
      service<"REALGetGraphicsOrigin", getOrigin>(),
      service<"REALSetGraphicsOrigin", setOrigin>(),
  };
  return kServices;
}

std::span<const ObjectMethod> graphicsMethods() {
  static const ObjectMethod kMethods[] = {
      {"DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, sx "
       "as Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)",
       service<"Graphics.DrawPicture", drawPicture>()},
      {"DrawRect( x as Integer, y as Integer, width as Integer, height as Integer )",
       service<"Graphics.DrawRect", drawShape<&Graphics::drawRect>>()},
      {"FillRect( x as Integer, y as Integer, width as Integer, height as Integer )",
       service<"Graphics.FillRect", drawShape<&Graphics::fillRect>>()},
      {"ClearRect( x as Integer, y as Integer, width as Integer, height as Integer )",
       service<"Graphics.ClearRect", drawShape<&Graphics::clearRect>>()},
      {"DrawOval( x as Integer, y as Integer, width as Integer, height as Integer )",
       service<"Graphics.DrawOval", drawShape<&Graphics::drawOval>>()},
      {"FillOval( x as Integer, y as Integer, width as Integer, height as Integer )",
       service<"Graphics.FillOval", drawShape<&Graphics::fillOval>>()},
      {"DrawRoundRect( x as Integer, y as Integer, width as Integer, height as Integer, ArcWidth "
       "as integer, ArcHeight as integer )",
       service<"Graphics.DrawRoundRect", drawRounded<&Graphics::drawRoundRect>>()},
      {"FillRoundRect( x as Integer, y as Integer, width as Integer, height as Integer, ArcWidth "
       "as integer, ArcHeight as integer )",
       service<"Graphics.FillRoundRect", drawRounded<&Graphics::fillRoundRect>>()},
  };
  return kMethods;
}

}  // namespace host
