// A host Graphics object's properties and drawing methods. Every routine is exported; none keeps or
// releases the graphics handle. Where the object or the host lacks what is needed, setters and
// drawing do nothing and the getter returns 0. Coordinates are pixels from the top left.
#pragma once

#include "Abi.h"

/// The colour as 0x00RRGGBB.
ZVK_EXPORT HostULong GetGraphicsForeColor(REALgraphicsStruct* graphics) noexcept;
ZVK_EXPORT HostBoolean SetGraphicsForeColor(REALgraphicsStruct* graphics, HostLong color) noexcept;
ZVK_EXPORT HostBoolean SetGraphicsPenWidth(REALgraphicsStruct* graphics, HostLong width) noexcept;
ZVK_EXPORT HostBoolean SetGraphicsPenHeight(REALgraphicsStruct* graphics, HostLong height) noexcept;
ZVK_EXPORT HostBoolean SetGraphicsTextSize(REALgraphicsStruct* graphics, HostLong size) noexcept;
ZVK_EXPORT HostBoolean SetGraphicsTextFont(REALgraphicsStruct* graphics,
                                           REALstringStruct* font) noexcept;
/// With 7-bit NUL-terminated text; null or empty text sets nil.
ZVK_EXPORT HostBoolean SetGraphicsTextFont(REALgraphicsStruct* graphics, const char* font) noexcept;
ZVK_EXPORT HostBoolean SetGraphicsUnderline(REALgraphicsStruct* graphics,
                                            HostBoolean value) noexcept;
ZVK_EXPORT HostBoolean SetGraphicsItalic(REALgraphicsStruct* graphics, HostBoolean value) noexcept;
ZVK_EXPORT HostBoolean SetGraphicsBold(REALgraphicsStruct* graphics, HostBoolean value) noexcept;

ZVK_EXPORT void GraphicsDrawLine(REALgraphicsStruct* graphics, int x1, int y1, int x2,
                                 int y2) noexcept;
ZVK_EXPORT void GraphicsDrawRect(REALgraphicsStruct* graphics, HostLong x, HostLong y,
                                 HostLong width, HostLong height) noexcept;
ZVK_EXPORT void GraphicsFillRect(REALgraphicsStruct* graphics, HostLong x, HostLong y,
                                 HostLong width, HostLong height) noexcept;
ZVK_EXPORT void GraphicsClearRect(REALgraphicsStruct* graphics, HostLong x, HostLong y,
                                  HostLong width, HostLong height) noexcept;
ZVK_EXPORT void GraphicsDrawOval(REALgraphicsStruct* graphics, HostLong x, HostLong y,
                                 HostLong width, HostLong height) noexcept;
ZVK_EXPORT void GraphicsFillOval(REALgraphicsStruct* graphics, HostLong x, HostLong y,
                                 HostLong width, HostLong height) noexcept;
ZVK_EXPORT void GraphicsDrawRoundRect(REALgraphicsStruct* graphics, HostLong x, HostLong y,
                                      HostLong width, HostLong height, HostLong arcWidth,
                                      HostLong arcHeight) noexcept;
ZVK_EXPORT void GraphicsFillRoundRect(REALgraphicsStruct* graphics, HostLong x, HostLong y,
                                      HostLong width, HostLong height, HostLong arcWidth,
                                      HostLong arcHeight) noexcept;
