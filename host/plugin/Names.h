// What names of methods and classes a word may stand for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

using Names = std::vector<std::string>;

/// "InvertZVK" as "Invert"; other names as they are.
std::string_view withoutSuffix(std::string_view name);

/// Whether `word` is `name` in whatever case, the suffix "ZVK" left out or not.
bool standsFor(std::string_view word, std::string_view name);

/// The up to `most` names that were likely meant, best first: those that contain `word`, and those
/// of which a word is spelled much like it ("Invrt", "saturate"). Nothing rather than nonsense.
Names similarNames(std::string_view word, Names names, size_t most = 3);

/// The `most` names nearest to `word` by edit distance without regard to case, however far they
/// are.
Names nearestNames(std::string_view word, Names names, size_t most = 3);

/// "; nearest are A, B", or how to see all of them where nothing is near.
std::string suggestion(const Names& similar);

}  // namespace host
