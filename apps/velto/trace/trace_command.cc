#include "apps/velto/trace/trace_command.h"

#include "apps/velto/spy/spy_options.h"
#include "apps/velto/trace/packet_file.h"
#include "apps/velto/trace/trace.h"

#include <iostream>

namespace velto {

namespace {

constexpr const char *kAbout =
    "Reads a capture of a network, pcap or pcapng, and shows what hosts and equipment say in it as "
    "velto spy does. It finds the connections of HSMS and of SECS-I over TCP by itself, also those "
    "that began before the capture.";

int failTrace(const std::string &problem) {
  std::cerr << "velto: " << problem << '\n';
  return kExitFailed;
}

} // namespace

int runTraceCommand(const CommandArguments &arguments) {
  std::string path;
  SpyOptions options;
  CommandLine line("trace", kAbout);
  line.argument("FILE", path, "the capture; -: standard input");
  line.require("FILE");
  options.declare(line);
  if (const auto status = line.read(arguments))
    return *status;
  std::string problem = options.finish();
  if (!problem.empty())
    return failTrace(problem);
  const auto file = PacketFile::open(path, problem);
  if (!file)
    return failTrace(problem);
  if (!knowsLinkType(file->linkType()))
    return failTrace(path + ": captured on a kind of network that velto does not know, link type " +
                     std::to_string(file->linkType()));

  SpyConsole console(options.console, std::cout);
  Trace trace(console, options.conversation);
  while (const auto packet = file->next(problem))
    if (const auto segment = readTcp(file->linkType(), packet->bytes))
      trace.take(*segment, packet->since1970);
  trace.finish();
  if (!problem.empty())
    return failTrace(problem);
  if (trace.shownCount() == 0)
    return failTrace(path + ": no HSMS and no SECS-I in it, of " +
                     std::to_string(trace.connectionCount()) + " connections of TCP");
  return kExitDone;
}

} // namespace velto
