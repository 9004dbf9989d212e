#include "apps/velto/model/model_command.h"

#include "gem/model_text/model_file.h"
#include "gem/model_text/model_text.h"
#include "platform/file.h"

#include <iostream>

namespace velto {

namespace {

constexpr const char *kMore = "docs/data_file.md describes the text.";

int fail(const std::string &problem) {
  std::cerr << "velto: " << problem << '\n';
  return kExitFailed;
}

int exportModel(const CommandArguments &arguments) {
  std::string file;
  std::string textFile;
  CommandLine line("model export", "Prints the equipment model of a model data file as text: "
                                   "variables, reports, events, alarms, states.");
  line.argument("FILE.kel", file, "the model data file");
  line.argument("TEXT", textFile, "where the text is written (default: standard output)");
  line.require("FILE.kel");
  line.footer(kMore);
  if (const auto status = line.read(arguments))
    return *status;
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

int importModel(const CommandArguments &arguments) {
  std::string textFile;
  std::string file;
  CommandLine line("model import", "Makes a model data file of an equipment model in text.");
  line.argument("TEXT", textFile, "the text");
  line.argument("FILE.kel", file, "the model data file");
  line.require("TEXT");
  line.require("FILE.kel");
  line.footer(kMore);
  if (const auto status = line.read(arguments))
    return *status;
  std::string problem;
  const auto data = readModelText(systemFiles(), textFile, problem);
  if (!data || !writeModelData(systemFiles(), file, *data, problem))
    return fail(problem);
  return kExitDone;
}

constexpr Command kCommands[] = {
    {"export", "a model data file as text", exportModel},
    {"import", "a text as model data file", importModel},
};

} // namespace

int runModelCommand(const CommandArguments &arguments) {
  return runCommand("velto model", kCommands, arguments);
}

} // namespace velto
