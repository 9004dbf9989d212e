#pragma once

#include "gem/data/model_data.h"
#include "platform/file.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velto {

/// A model as text that changes while the equipment that was made of it is at work.
///
/// What the text has gained since its import, the equipment can take at once: variables, reports,
/// events, alarms and commands that are not there yet. Nothing of what is there changes, so that
/// what a host has defined, linked and set stays. All else that changes in the text is left for
/// its next import.
class ModelUpdate {
public:
  /// `data`: the model data file that the text was imported into.
  ModelUpdate(FileSystem &files, std::string text, std::string data)
      : files_(files), text_(std::move(text)), data_(std::move(data)) {}

  /// Reads the text anew. Returns which file or line is wrong and why, empty when none is.
  std::string read();
  /// Gives a model what the text that was read has gained. True when the model then has all that
  /// the text says; once it has been saved, noteImported() is due.
  bool apply(GemData &live);
  /// Notes that the model data file holds all of the text: the next start does not import it again.
  /// False when that fails.
  bool noteImported();

  // What apply() did, by kind and number: "vid 105".
  const std::vector<std::string> &added() const { return added_; }
  /// What has changed otherwise, is gone from the text, or is there by another hand.
  const std::vector<std::string> &left() const { return left_; }

private:
  template <typename List>
  void take(const char *kind, List GemData::*list, GemData &live, const GemData &last);

  FileSystem &files_;
  const std::string text_;
  const std::string data_;
  std::string content_;
  std::optional<GemData> imported_; ///< what the text of the last import says
  std::optional<GemData> read_;     ///< what the text says that was read last
  std::optional<GemData> applied_;  ///< the same of the last apply()
  std::vector<std::string> added_;
  std::vector<std::string> left_;
};

} // namespace velto
