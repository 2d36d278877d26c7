// A host with the plug-in in it, and calls of whatever it declares, with arguments made up from the
// declarations.
#pragma once

#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "Check.h"
#include "Watches.h"
#include "host/Host.h"
#include "host/plugin/Plugin.h"

namespace zvk::validation {

/// A way to keep pictures.
struct Layout {
  std::string_view name;
  host::PictureOptions options;
};

/// All of them; the drawable one comes last.
std::span<const Layout> layouts();
/// How many of them can be had here: all, or all but the drawable one.
int availableLayouts();

struct Size {
  int width, height;
};

/// Settings of a host for pictures of this layout: quiet, and without memory for huge pictures.
host::Settings settingsFor(const host::PictureOptions& options);

/// A call of a declared method.
struct DeclaredCall {
  const host::Method* method;
  host::Value self;  ///< a picture, an instance with a source picture, or nothing
  std::vector<host::Value> arguments;
  std::optional<host::Value> assigned = {};  ///< assigned, where the call is an assignment

  /// "InvertZVK(1, 2, 3, 4) on picture#1 (5 x 3, cairo)"
  std::string text() const;
};

/// What came of a call.
struct Answer {
  host::CallResult result;
  std::optional<host::RaisedException> exception;

  /// Whether this is what failing calls give: nothing, nil, false, a number of 0 or less, or an
  /// exception. Methods without result are told by the last variable.
  bool isFailure() const;
};

/// Makes arguments up, each from its declared type; the same ones for the same seed.
class Arguments {
 public:
  Arguments(const host::Plugin& plugin, const host::PictureOptions& options, Size size,
            uint32_t seed);

  /// A call of the method on fresh objects.
  DeclaredCall call(const host::Method& method);
  /// The same as an assignment.
  DeclaredCall assignment(const host::Method& method);
  host::Value value(const grammar::Parameter& parameter);
  host::PictureRef picture();
  host::BlockRef block(int size = 1024);
  host::StringRef string();
  host::Value self(const host::Method& method);

  host::Placement placement = host::Placement::kHeap;  ///< of strings and blocks

 private:
  host::Value ofType(grammar::Type type);

  const host::Plugin& plugin_;
  host::PictureOptions options_;
  Size size_;
  std::mt19937 random_;
};

/// Pixels in which every kind of branch has something to take: repeated colours, greys, white.
std::vector<uint32_t> variedPixels(Size size, std::mt19937& random);

/// The values of an instance's properties that hold objects, nil included.
std::vector<host::Value> objectsIn(const host::Instance& instance);

/// Everything that can be seen of a value: colours (with `words`, all bits) of a picture, bytes, a
/// number; of an instance its pictures.
std::string contents(const host::Value& value, bool words = false);
/// The same of everything that a call gave, and of what it may have worked on in place.
std::string contents(const DeclaredCall& call, const Answer& answer, bool words = false);

/// The same of results only, and of pictures only their size and colours, not their alpha.
std::string coloursOf(const DeclaredCall& call, const Answer& answer);

/// A host process with the plug-in started in it.
class Scene {
 public:
  Scene(const Context& context, Log& where, host::Settings settings);
  Scene(const Context& context, Log& where, const Layout& layout)
      : Scene(context, where, settingsFor(layout.options)) {}

  /// Makes a call. Exceptions are answers like others. `circumstances` stand in messages.
  Answer make(const DeclaredCall& call, const std::string& circumstances = {});
  /// Fails the checks of everything that the accounts and the process's state do not balance by;
  /// with `check`, all counts to that one. Returns whether all is well.
  bool settle(std::string_view check = {});
  bool settleAccounts(std::string_view check = {});

  const host::Method& method(const Case& c) const {
    return plugin.methods()[static_cast<size_t>(c.method)];
  }

  Log& log;
  host::Host host;
  host::Plugin plugin;

 private:
  std::unique_ptr<Watches> watches_;
};

/// One case for each method that `applies` (null: each of them) and each layout that can be had,
/// with or without the drawable one.
std::vector<Case> everyMethodAndLayout(const Context& context, Log& log,
                                       bool (*applies)(const host::Method&) = nullptr,
                                       bool drawables = true);
/// One case for each method, for trials that choose their layouts themselves.
std::vector<Case> everyMethod(const Context& context, Log& log);
/// Whether the method has a parameter of the type that is handed over (not `byref`), or assigns
/// one.
bool takes(const host::Method& method, grammar::Type type);

/// The check to which a problem of the accounts counts.
std::string_view checkOf(host::Problem::Kind kind);

}  // namespace zvk::validation
