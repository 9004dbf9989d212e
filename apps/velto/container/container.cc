#include "apps/velto/container/container.h"

#include "apps/velto/console/line_reader.h"

namespace velto {

int Container::runFiles(const std::vector<std::string> &paths) {
  interpreter_.setOnError(script::Interpreter::OnError::End);
  for (const std::string &path : paths)
    if (!interpreter_.runFile(path) || interpreter_.ended())
      break;
  return interpreter_.failed() ? 1 : 0;
}

int Container::runInteractive(int fd) {
  interpreter_.setOnError(script::Interpreter::OnError::GoOn);
  LineReader input(loop_, fd);
  const auto ended = [this] { return interpreter_.ended(); };
  script::Location where{"-", 0};
  while (const auto line = input.next(ended)) {
    ++where.line;
    interpreter_.runLine(*line, where);
  }
  return 0;
}

} // namespace velto
