#include "GraphicsHelpers.h"

#include "HostCall.h"
#include "HostServices.h"
#include "ValueHelpers.h"

namespace {

#define ZVK_RECT "( x as Integer, y as Integer, width as Integer, height as Integer )"
#define ZVK_ROUND_RECT                                                  \
  "( x as Integer, y as Integer, width as Integer, height as Integer, " \
  "ArcWidth as integer, ArcHeight as integer )"

/// Calls the object's drawing method with this declaration, if it has one.
template <typename... Numbers>
void draw(REALgraphicsStruct* graphics, const char* declaration, Numbers... numbers) noexcept {
  if (graphics == nullptr) return;
  using Method = void(REALgraphicsStruct*, Numbers...);
  auto* method = reinterpret_cast<Method*>(REALLoadObjectMethod(asObject(graphics), declaration));
  if (method != nullptr) method(graphics, numbers...);
}

template <typename Value>
HostBoolean set(REALgraphicsStruct* graphics, const char* property, Value value) noexcept {
  return REALSetPropValue(asObject(graphics), property, value);
}

}  // namespace

HostULong GetGraphicsForeColor(REALgraphicsStruct* graphics) noexcept {
  HostLong color = 0;
  REALGetPropValue(asObject(graphics), "ForeColor", &color);
  return static_cast<HostULong>(color);
}
HostBoolean SetGraphicsForeColor(REALgraphicsStruct* graphics, HostLong color) noexcept {
  return set(graphics, "ForeColor", color);
}
HostBoolean SetGraphicsPenWidth(REALgraphicsStruct* graphics, HostLong width) noexcept {
  return set(graphics, "PenWidth", width);
}
HostBoolean SetGraphicsPenHeight(REALgraphicsStruct* graphics, HostLong height) noexcept {
  return set(graphics, "PenHeight", height);
}
HostBoolean SetGraphicsTextSize(REALgraphicsStruct* graphics, HostLong size) noexcept {
  return set(graphics, "TextSize", size);
}
HostBoolean SetGraphicsTextFont(REALgraphicsStruct* graphics, REALstringStruct* font) noexcept {
  return set(graphics, "TextFont", font);
}
HostBoolean SetGraphicsTextFont(REALgraphicsStruct* graphics, const char* font) noexcept {
  REALstringStruct* text = CString2RBmax(font, kEncodingASCII, 0);
  const HostBoolean done = SetGraphicsTextFont(graphics, text);
  if (text != nullptr) REALUnlockString(text);
  return done;
}
HostBoolean SetGraphicsUnderline(REALgraphicsStruct* graphics, HostBoolean value) noexcept {
  return set(graphics, "Underline", value);
}
HostBoolean SetGraphicsItalic(REALgraphicsStruct* graphics, HostBoolean value) noexcept {
  return set(graphics, "Italic", value);
}
HostBoolean SetGraphicsBold(REALgraphicsStruct* graphics, HostBoolean value) noexcept {
  return set(graphics, "Bold", value);
}

void GraphicsDrawLine(REALgraphicsStruct* graphics, int x1, int y1, int x2, int y2) noexcept {
  callHost<"RuntimeGraphicsDrawLine">(graphics, x1, y1, x2, y2);
}
void GraphicsDrawRect(REALgraphicsStruct* graphics, HostLong x, HostLong y, HostLong width,
                      HostLong height) noexcept {
  draw(graphics, "DrawRect" ZVK_RECT, x, y, width, height);
}
void GraphicsFillRect(REALgraphicsStruct* graphics, HostLong x, HostLong y, HostLong width,
                      HostLong height) noexcept {
  draw(graphics, "FillRect" ZVK_RECT, x, y, width, height);
}
void GraphicsClearRect(REALgraphicsStruct* graphics, HostLong x, HostLong y, HostLong width,
                       HostLong height) noexcept {
  draw(graphics, "ClearRect" ZVK_RECT, x, y, width, height);
}
void GraphicsDrawOval(REALgraphicsStruct* graphics, HostLong x, HostLong y, HostLong width,
                      HostLong height) noexcept {
  draw(graphics, "DrawOval" ZVK_RECT, x, y, width, height);
}
void GraphicsFillOval(REALgraphicsStruct* graphics, HostLong x, HostLong y, HostLong width,
                      HostLong height) noexcept {
  draw(graphics, "FillOval" ZVK_RECT, x, y, width, height);
}
void GraphicsDrawRoundRect(REALgraphicsStruct* graphics, HostLong x, HostLong y, HostLong width,
                           HostLong height, HostLong arcWidth, HostLong arcHeight) noexcept {
  draw(graphics, "DrawRoundRect" ZVK_ROUND_RECT, x, y, width, height, arcWidth, arcHeight);
}
void GraphicsFillRoundRect(REALgraphicsStruct* graphics, HostLong x, HostLong y, HostLong width,
                           HostLong height, HostLong arcWidth, HostLong arcHeight) noexcept {
  draw(graphics, "FillRoundRect" ZVK_ROUND_RECT, x, y, width, height, arcWidth, arcHeight);
}
