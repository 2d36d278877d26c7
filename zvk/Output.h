// Where results go.
#pragma once

#include <string>

#include "Tool.h"
#include "host/files/PictureFile.h"

namespace zvk {

/// Checks what can be known of an output, for a picture or for bytes, before any work is done.
/// Throws InputError or host::FileError.
void requireOutput(const std::string& path, const FileOptions& files, bool picture);

/// Saves a picture, and says what the file cannot hold and which options mean nothing to it. Throws
/// host::FileError.
void saveResult(host::Picture& picture, const std::string& path, const FileOptions& files,
                const host::PictureExtras& extras = {});

}  // namespace zvk
