#include "host/pictures/Graphics.h"

#include <algorithm>
#include <cmath>

#include "host/Host.h"
#include "host/services/Services.h"

namespace host {

Graphics::Graphics(Host& host, Picture& picture)
    : PropertyObject(host, "graphics", "Graphics",
                     {{"ForeColor", Color{0}},
                      {"PenWidth", 1},
                      {"PenHeight", 1},
                      {"TextSize", 12},
                      {"TextFont", StringRef()},
                      {"Bold", false},
                      {"Italic", false},
                      {"Underline", false}}),
      picture_(&picture) {}

Graphics* Graphics::create(Host& host, Picture& picture) { return new Graphics(host, picture); }

void* Graphics::method(std::string_view declaration) {
  return findMethod(graphicsMethods(), declaration);
}

void* Graphics::deviceContext() const {
  if (picture_ == nullptr || picture_->storage().record()) return nullptr;
  return picture_->storage().dataHandle();
}

void Graphics::setSource(cairo_t* cr) const {
  const uint32_t rgb = property("ForeColor").color().rgb;
  cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
  cairo_set_source_rgb(cr, (rgb >> 16 & 255) / 255.0, (rgb >> 8 & 255) / 255.0,
                       (rgb & 255) / 255.0);
}

int Graphics::pen(const char* name) const {
  // Wider than any picture; positions and pen still sum up in 32 bits.
  constexpr int64_t kWidest = 1 << 28;
  return static_cast<int>(std::clamp<int64_t>(property(name).integer(), 1, kWidest));
}

// Calls `painter(cr)` with the colour set and the origin applied. `area` bounds what it touches.
template <typename Painter>
void Graphics::paint(const Area& area, Painter painter) {
  if (picture_ == nullptr || area.width < 1 || area.height < 1) return;
  struct Context {
    Graphics* self;
    Painter* painter;
  } context{this, &painter};
  const Area moved{area.x + originX, area.y + originY, area.width, area.height};
  picture_->storage().draw(
      moved,
      [](cairo_t* cr, void* argument) {
        auto* arguments = static_cast<Context*>(argument);
        cairo_translate(cr, arguments->self->originX, arguments->self->originY);
        arguments->self->setSource(cr);
        (*arguments->painter)(cr);
      },
      &context);
}

void Graphics::fillRect(const Area& area) {
  paint(area, [&](cairo_t* cr) {
    cairo_rectangle(cr, area.x, area.y, area.width, area.height);
    cairo_fill(cr);
  });
}

void Graphics::clearRect(const Area& area) {
  paint(area, [&](cairo_t* cr) {
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_rectangle(cr, area.x, area.y, area.width, area.height);
    cairo_fill(cr);
  });
}

void Graphics::drawRect(const Area& area) {
  const int penWidth = pen("PenWidth"), penHeight = pen("PenHeight");
  fillRect({area.x, area.y, area.width, penHeight});
  fillRect({area.x, area.y + area.height - penHeight, area.width, penHeight});
  fillRect({area.x, area.y, penWidth, area.height});
  fillRect({area.x + area.width - penWidth, area.y, penWidth, area.height});
}

// --- Lines --------------------------------------------------------------------------------------

void Graphics::drawLine(int x1, int y1, int x2, int y2) {
  const int penWidth = pen("PenWidth"), penHeight = pen("PenHeight");
  const int64_t dx = std::llabs(int64_t{x2} - x1), dy = -std::llabs(int64_t{y2} - y1);
  const int stepX = x1 < x2 ? 1 : -1, stepY = y1 < y2 ? 1 : -1;
  const Area bounds{std::min(x1, x2), std::min(y1, y2), static_cast<int>(dx) + penWidth,
                    static_cast<int>(-dy) + penHeight};
  paint(bounds, [&](cairo_t* cr) {
    // The pen's positions along one run, in a row or column, unite to one rectangle.
    int runX = x1, runY = y1, x = x1, y = y1;
    const auto fillRun = [&] {
      cairo_rectangle(cr, std::min(runX, x), std::min(runY, y), std::abs(x - runX) + penWidth,
                      std::abs(y - runY) + penHeight);
      cairo_fill(cr);
    };
    int64_t error = dx + dy;
    while (x != x2 || y != y2) {
      int nextX = x, nextY = y;
      const int64_t twice = 2 * error;
      if (twice >= dy) error += dy, nextX += stepX;
      if (twice <= dx) error += dx, nextY += stepY;
      const bool runEnds = (nextX != x && runY != nextY) || (nextY != y && runX != nextX);
      if (runEnds) {
        fillRun();
        runX = nextX;
        runY = nextY;
      }
      x = nextX;
      y = nextY;
    }
    fillRun();
  });
}

// --- Ovals and round rectangles -----------------------------------------------------------------

namespace {

void ovalPath(cairo_t* cr, double x, double y, double width, double height) {
  cairo_save(cr);
  cairo_translate(cr, x + width / 2, y + height / 2);
  cairo_scale(cr, width / 2, height / 2);
  cairo_new_sub_path(cr);
  cairo_arc(cr, 0, 0, 1, 0, 2 * M_PI);
  cairo_restore(cr);
}

void roundPath(cairo_t* cr, double x, double y, double width, double height, double arcWidth,
               double arcHeight) {
  const double rx = std::clamp(arcWidth, 0.0, width) / 2;
  const double ry = std::clamp(arcHeight, 0.0, height) / 2;
  const struct {
    double x, y, angle;
  } corners[] = {{x + width - rx, y + ry, -M_PI / 2},
                 {x + width - rx, y + height - ry, 0},
                 {x + rx, y + height - ry, M_PI / 2},
                 {x + rx, y + ry, M_PI}};
  cairo_new_sub_path(cr);
  for (const auto& corner : corners) {
    cairo_save(cr);
    cairo_translate(cr, corner.x, corner.y);
    cairo_scale(cr, std::max(rx, 1e-6), std::max(ry, 1e-6));
    cairo_arc(cr, 0, 0, 1, corner.angle, corner.angle + M_PI / 2);
    cairo_restore(cr);
  }
  cairo_close_path(cr);
}

bool isEmpty(const Area& area) { return area.width < 1 || area.height < 1; }

}  // namespace

void Graphics::fillOval(const Area& area) {
  paint(area, [&](cairo_t* cr) {
    ovalPath(cr, area.x, area.y, area.width, area.height);
    cairo_fill(cr);
  });
}

void Graphics::drawOval(const Area& area) { drawRoundRect(area, area.width, area.height); }

void Graphics::fillRoundRect(const Area& area, int arcWidth, int arcHeight) {
  paint(area, [&](cairo_t* cr) {
    roundPath(cr, area.x, area.y, area.width, area.height, arcWidth, arcHeight);
    cairo_fill(cr);
  });
}

// The ring between the shape and the shape that is smaller by the pen.
void Graphics::drawRoundRect(const Area& area, int arcWidth, int arcHeight) {
  const int penWidth = pen("PenWidth"), penHeight = pen("PenHeight");
  const Area inner{area.x + penWidth, area.y + penHeight, area.width - 2 * penWidth,
                   area.height - 2 * penHeight};
  paint(area, [&](cairo_t* cr) {
    cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
    roundPath(cr, area.x, area.y, area.width, area.height, arcWidth, arcHeight);
    if (!isEmpty(inner)) {
      roundPath(cr, inner.x, inner.y, inner.width, inner.height, arcWidth - 2 * penWidth,
                arcHeight - 2 * penHeight);
    }
    cairo_fill(cr);
  });
}

// --- Pictures -----------------------------------------------------------------------------------

void Graphics::drawPicture(Picture& source, const Area& to, const Area& from) {
  if (!source.hasStorage() || isEmpty(to) || isEmpty(from)) return;
  const int width = source.width(), height = source.height();
  std::vector<uint32_t> pixels = source.pixels();
  // Colours of records are not premultiplied by their alpha, what cairo draws is.
  const bool premultiply = source.hasAlpha() && source.options().storage == Storage::kRecord;
  for (uint32_t& pixel : pixels) {
    if (premultiply) pixel = premultiplied(pixel);
  }
  cairo_surface_t* image = cairo_image_surface_create_for_data(
      reinterpret_cast<uint8_t*>(pixels.data()), CAIRO_FORMAT_ARGB32, width, height, 4 * width);
  paint(to, [&](cairo_t* cr) {
    cairo_rectangle(cr, to.x, to.y, to.width, to.height);
    cairo_clip(cr);
    cairo_translate(cr, to.x, to.y);
    cairo_scale(cr, double(to.width) / from.width, double(to.height) / from.height);
    cairo_set_source_surface(cr, image, -from.x, -from.y);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    cairo_paint(cr);
  });
  cairo_surface_destroy(image);
}

}  // namespace host
