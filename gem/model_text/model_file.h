#pragma once

#include "gem/data/model_data.h"
#include "platform/file.h"

#include <optional>
#include <string>
#include <string_view>

namespace velto {

// Equipment models in files: as a model data file, or as text that people write (model_text.h).
// When a function fails, `problem` says which file is concerned and why.

/// Whether the name of a file says that it holds a model as text: NAME.model.
bool isModelText(std::string_view path);

std::optional<GemData> readModelData(FileSystem &files, const std::string &path,
                                     std::string &problem);
std::optional<GemData> readModelText(FileSystem &files, const std::string &path,
                                     std::string &problem);
/// Reads a model of either kind, depending on the name of the file.
std::optional<GemData> readModel(FileSystem &files, const std::string &path, std::string &problem);

/// Writes a model data file; false when that fails.
bool writeModelData(FileSystem &files, const std::string &path, const GemData &data,
                    std::string &problem);

/// What importModelText() did.
enum class ModelImport {
  Failed,
  Kept,   ///< the text is that of the last import: the model data file stays as it is
  Mended, ///< so it does, but its companion was lost or damaged: the commands are the text's again
  First,  ///< there was no model data file
  Again,  ///< the text has changed: the model data file was made anew
};

/// Brings a model as text into a model data file, unless it is there already. What was imported
/// last is kept beside that file, as FILE.kel.imported; when it is not there, a model data file
/// that holds anything else than the text is kept as FILE.kel001 and made anew.
ModelImport importModelText(FileSystem &files, const std::string &text, const std::string &data,
                            std::string &problem);

/// The file beside a model data file that holds the text of its last import.
std::string importedCopy(const std::string &data);

/// What ModelImport::Mended is told as.
std::string lostCompanion(const std::string &data);

} // namespace velto
