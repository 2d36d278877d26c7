#include "Preview.h"

#include <chafa.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "Terminal.h"
#include "Tool.h"
#include "host/files/Library.h"
#include "host/files/PictureFile.h"

namespace zvk {

namespace {

struct ChafaLibrary {
  host::Library library{"libchafa.so.0"};
  ZVK_FUNCTION(chafa_term_db_get_default);
  ZVK_FUNCTION(chafa_term_db_detect);
  ZVK_FUNCTION(chafa_term_info_get_seq);
  ZVK_FUNCTION(chafa_term_info_unref);
  ZVK_FUNCTION(chafa_symbol_map_new);
  ZVK_FUNCTION(chafa_symbol_map_add_by_tags);
  ZVK_FUNCTION(chafa_symbol_map_unref);
  ZVK_FUNCTION(chafa_canvas_config_new);
  ZVK_FUNCTION(chafa_canvas_config_set_geometry);
  ZVK_FUNCTION(chafa_canvas_config_set_cell_geometry);
  ZVK_FUNCTION(chafa_canvas_config_set_canvas_mode);
  ZVK_FUNCTION(chafa_canvas_config_set_pixel_mode);
  ZVK_FUNCTION(chafa_canvas_config_set_symbol_map);
  ZVK_FUNCTION(chafa_canvas_config_unref);
  ZVK_FUNCTION(chafa_canvas_new);
  ZVK_FUNCTION(chafa_canvas_draw_all_pixels);
  ZVK_FUNCTION(chafa_canvas_print);
  ZVK_FUNCTION(chafa_canvas_unref);
  ZVK_FUNCTION(chafa_calc_canvas_geometry);
  ZVK_FUNCTION(g_get_environ);
  ZVK_FUNCTION(g_strfreev);
  ZVK_FUNCTION(g_string_free);
};

const ChafaLibrary& chafa() {
  static const ChafaLibrary functions = [] {
    try {
      return ChafaLibrary();
    } catch (const std::runtime_error& error) {
      throw InputError(std::string("--preview: ") + error.what() +
                       "; the package libchafa0 brings it");
    }
  }();
  return functions;
}

struct Window {
  int columns = 80, rows = 24;
  int cellWidth = 8, cellHeight = 16;  ///< in pixels
};

Window windowOf(int descriptor) {
  Window window;
  winsize size{};
  if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    return window;
  }
  window.columns = size.ws_col;
  window.rows = size.ws_row;
  if (size.ws_xpixel > 0 && size.ws_ypixel > 0) {
    window.cellWidth = std::max(1, size.ws_xpixel / size.ws_col);
    window.cellHeight = std::max(1, size.ws_ypixel / size.ws_row);
  }
  return window;
}

/// What the terminal understands, as far as its variables tell.
struct Abilities {
  ChafaPixelMode pixels = CHAFA_PIXEL_MODE_SYMBOLS;
  ChafaCanvasMode colors = CHAFA_CANVAS_MODE_FGBG;
};

Abilities abilitiesOf(const ChafaTermInfo* info) {
  const auto has = [&](ChafaTermSeq sequence) {
    return chafa().chafa_term_info_get_seq(const_cast<ChafaTermInfo*>(info), sequence) != nullptr;
  };
  Abilities found;
  if (!textIsStyled()) return found;
  if (has(CHAFA_TERM_SEQ_BEGIN_KITTY_IMMEDIATE_IMAGE_V1)) {
    found.pixels = CHAFA_PIXEL_MODE_KITTY;
  } else if (has(CHAFA_TERM_SEQ_BEGIN_SIXELS)) {
    found.pixels = CHAFA_PIXEL_MODE_SIXELS;
  }
  if (has(CHAFA_TERM_SEQ_SET_COLOR_FGBG_DIRECT)) {
    found.colors = CHAFA_CANVAS_MODE_TRUECOLOR;
  } else if (has(CHAFA_TERM_SEQ_SET_COLOR_FGBG_256)) {
    found.colors = CHAFA_CANVAS_MODE_INDEXED_240;
  } else if (has(CHAFA_TERM_SEQ_SET_COLOR_FGBG_16)) {
    found.colors = CHAFA_CANVAS_MODE_INDEXED_16;
  }
  return found;
}

}  // namespace

void preview(host::Picture& picture) {
  const std::vector<uint32_t> pixels = host::visiblePixels(picture);
  const Window window = windowOf(STDOUT_FILENO);
  gint columns = window.columns, rows = std::max(window.rows - 2, 4);
  chafa().chafa_calc_canvas_geometry(
      picture.width(), picture.height(), &columns, &rows,
      static_cast<float>(window.cellWidth) / static_cast<float>(window.cellHeight), FALSE, FALSE);
  gchar** environment = chafa().g_get_environ();
  ChafaTermInfo* info =
      chafa().chafa_term_db_detect(chafa().chafa_term_db_get_default(), environment);
  chafa().g_strfreev(environment);
  const Abilities abilities = abilitiesOf(info);

  ChafaSymbolMap* symbols = chafa().chafa_symbol_map_new();
  chafa().chafa_symbol_map_add_by_tags(
      symbols, ChafaSymbolTags(CHAFA_SYMBOL_TAG_BLOCK | CHAFA_SYMBOL_TAG_SPACE));
  ChafaCanvasConfig* config = chafa().chafa_canvas_config_new();
  chafa().chafa_canvas_config_set_geometry(config, columns, rows);
  chafa().chafa_canvas_config_set_cell_geometry(config, window.cellWidth, window.cellHeight);
  chafa().chafa_canvas_config_set_pixel_mode(config, abilities.pixels);
  chafa().chafa_canvas_config_set_canvas_mode(config, abilities.colors);
  chafa().chafa_canvas_config_set_symbol_map(config, symbols);
  ChafaCanvas* canvas = chafa().chafa_canvas_new(config);
  chafa().chafa_canvas_draw_all_pixels(canvas, CHAFA_PIXEL_BGRA8_UNASSOCIATED,
                                       reinterpret_cast<const guint8*>(pixels.data()),
                                       picture.width(), picture.height(), 4 * picture.width());
  GString* text = chafa().chafa_canvas_print(canvas, info);
  fwrite(text->str, 1, text->len, stdout);
  fputc('\n', stdout);
  chafa().g_string_free(text, TRUE);
  chafa().chafa_canvas_unref(canvas);
  chafa().chafa_canvas_config_unref(config);
  chafa().chafa_symbol_map_unref(symbols);
  chafa().chafa_term_info_unref(info);
}

}  // namespace zvk
