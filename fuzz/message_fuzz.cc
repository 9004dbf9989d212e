// Any bytes decode; what was decoded encodes, prints and can be edited; what is printed reads back.
#include "base/text.h"
#include "secs2/item_value.h"
#include "secs2/message.h"
#include "secs2/message_json.h"
#include "secs2/node_path.h"
#include "secs2/sml_printer.h"
#include "secs2/sml_tree.h"

#include <cstdlib>

using namespace velto;

namespace {

void require(bool holds) {
  if (!holds)
    abort();
}

void editNodes(CHSecsMessage &message, uint8_t seed) {
  for (const char *path : {"", "1", "2/1", "1[0]", "1/1/1"}) {
    message.node = path;
    message.GetNodeValue(true);
    message.GetNodeValue(false);
    message.GetNodeCount();
    message.SetNodeValue(1 + (seed + message.GetNodeType()) % 16, "17");
  }
  message.node = "1";
  message.SetFromSml(seed % 2 == 0 ? "" : "{<u4 1> <a 'x'>}");
  message.node.clear();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  CHSecsMessage message;
  if (!message.Decode({data, size}))
    return 0;
  Bytes first;
  require(message.Encode(first));
  MessageTree(message);
  messageJsonMembers({data, size});
  const std::string sml = RenderSml(message);
  CHSecsMessage again;
  require(again.Decode(first));
  require(RenderSml(again) == sml);

  editNodes(message, data[size - 1]);
  require(message.Encode(first));
  return 0;
}
