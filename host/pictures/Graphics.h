// Graphics objects of pictures: pen, colour and text properties, and drawing over cairo.
#pragma once

#include "host/objects/Classes.h"
#include "host/objects/Object.h"
#include "host/pictures/PixelStorage.h"

namespace host {

class Picture;

class Graphics final : public PropertyObject {
 public:
  using Handle = REALgraphicsStruct;

  static Graphics* create(Host& host, Picture& picture);

  /// The rectangular pen, PenWidth x PenHeight, follows the Bresenham line with its top left corner
  /// from (x1, y1) to (x2, y2), both included, in ForeColor.
  void drawLine(int x1, int y1, int x2, int y2);
  void fillRect(const Area& area);
  void drawRect(const Area& area);
  void clearRect(const Area& area);  ///< fills with white
  void fillOval(const Area& area);
  void drawOval(const Area& area);
  void fillRoundRect(const Area& area, int arcWidth, int arcHeight);
  void drawRoundRect(const Area& area, int arcWidth, int arcHeight);
  /// Scales with the nearest pixel when the areas differ in size; respects the source's alpha.
  void drawPicture(Picture& source, const Area& to, const Area& from);

  /// The cairo context or drawable that is drawn on; null in records.
  void* deviceContext() const;

  int originX = 0, originY = 0;

  std::string_view className() const override { return "Graphics"; }
  void* method(std::string_view declaration) override;

 private:
  friend class Picture;
  Graphics(Host& host, Picture& picture);
  template <typename Painter>
  void paint(const Area& area, Painter painter);
  void setSource(cairo_t* cr) const;
  int pen(const char* name) const;

  Picture* picture_;  ///< null once the picture is gone
};

using GraphicsRef = Ref<Graphics>;

}  // namespace host
