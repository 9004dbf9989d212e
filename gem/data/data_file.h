#pragma once

#include "gem/data/model_data.h"
#include "platform/file.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// The equipment model as the bytes of a model data file: an archive of objects
/// (gem/data/archive.h).
std::string storeGemData(const GemData &data);

/// The model that the bytes hold. Nothing when they are no model data file: they end early or go on
/// behind it, an object is of a wrong class or missing, or two of a list have the same number.
/// Lists out of order are sorted; schemas are not compared, but a communication model of a schema
/// below 2 has one field less.
std::optional<GemData> loadGemData(std::string bytes);

/// The longest model data file that is read or written, in bytes.
inline constexpr size_t kMaxDataFile = size_t{256} * 1024 * 1024;

/// Whether a model that grows by that many bytes can still be saved.
bool canBeSaved(const GemData &data, size_t growth);

/// Puts `bytes` into the model data file in one step. When they are safe on the disk, the backups
/// (`path` and a number of three digits) move up by one number, the one numbered `backups` being
/// dropped, and the old file becomes the first; with 0 there are none, 999 is the most. A backup
/// that can't be kept does not stop the saving.
///
/// False when the new contents could not be put in place, are not yet safe from a power loss, or
/// are longer than kMaxDataFile (errno tells the reason, 0 when none is known); no backup is given
/// up then, however often it happens. An old file that was replaced all the same stays as backup
/// 000, and becomes the first when the next save begins and finds the new one safe. At any moment,
/// after a crash too, the file holds the old contents or the new ones.
bool saveDataFile(FileSystem &files, const std::string &path, int32_t backups,
                  std::string_view bytes);

/// Keeps a file that could not be loaded, before it is overwritten, as `path` and ".damaged"; one
/// of that name is given up. True also when there is no file; false when it can't be kept.
bool keepDamagedFile(FileSystem &files, const std::string &path);

/// The bytes of a model data file; nothing when it is missing, unreadable, longer than kMaxDataFile
/// or no regular file (whose end might never come).
std::optional<std::string> readDataFile(FileSystem &files, const std::string &path);

} // namespace velto
