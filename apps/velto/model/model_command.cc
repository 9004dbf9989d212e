#include "apps/velto/model/model_command.h"

#include "gem/model_text/model_file.h"
#include "gem/model_text/model_text.h"
#include "platform/file.h"

#include <algorithm>
#include <iostream>

namespace velto {

namespace {

constexpr const char *kUsage =
    "usage: velto model export FILE.kel [TEXT]\n"
    "       velto model import TEXT FILE.kel\n\n"
    "Exports the equipment model (variables, reports, events, alarms, states) of a model data\n"
    "file as text, to standard output or a file, and makes a model data file of such a text.\n"
    "docs/data_file.md describes the text.\n";

int fail(const std::string &problem) {
  std::cerr << "velto: " << problem << '\n';
  return kExitFailed;
}

int exportModel(const std::string &file, const std::string &textFile) {
  std::string problem;
  const auto data = readModelData(systemFiles(), file, problem);
  if (!data)
    return fail(problem);
  const std::string text = modelToText(*data);
  if (textFile.empty())
    std::cout << text << std::flush;
  else if (!systemFiles().replace(textFile, text))
    return fail(textFile + ": cannot be written");
  return kExitDone;
}

int importModel(const std::string &textFile, const std::string &file) {
  std::string problem;
  const auto data = readModelText(systemFiles(), textFile, problem);
  if (!data || !writeModelData(systemFiles(), file, *data, problem))
    return fail(problem);
  return kExitDone;
}

} // namespace

int runModelCommand(const CommandArguments &arguments) {
  if (std::ranges::find(arguments, "--help") != arguments.end()) {
    std::cout << kUsage;
    return kExitDone;
  }
  const size_t count = arguments.size();
  if (count >= 2 && count <= 3 && arguments[0] == "export")
    return exportModel(arguments[1], count == 3 ? arguments[2] : "");
  if (count == 3 && arguments[0] == "import")
    return importModel(arguments[1], arguments[2]);
  std::cerr << kUsage;
  return kExitUsage;
}

} // namespace velto
