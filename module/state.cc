// What the C interface tells of a control as a whole: its property bag and its window.

#include "base/json_text.h"
#include "module/objects.h"

using namespace velto;
using namespace velto::module;

namespace {

// Does something with a control that is no page.
template <typename Work> velto_status with(velto_control *control, Work work) {
  return guarded([&] {
    const auto [object, status] = controlOf(control);
    if (object == nullptr)
      return status;
    if (object->control == nullptr)
      return fail(VELTO_NO_SUCH_MEMBER, "a property page is no control");
    return work(*object);
  });
}

velto_status noResult() { return fail(VELTO_WRONG_ARGUMENTS, "a place for the result is due"); }

// Trees are as deep as the messages that they show: no recursion without a bound.
std::string treeJson(TreeView view) {
  fillKeys(view);
  struct Step {
    const TreeNode *node; // null: the end of a list of children
    bool first;
  };
  std::string out = "{\"kind\":\"tree\",\"roots\":[";
  std::vector<Step> steps;
  const auto push = [&steps](const std::vector<TreeNode> &nodes) {
    for (size_t i = nodes.size(); i-- > 0;)
      steps.push_back({&nodes[i], i == 0});
  };
  push(view.roots);
  while (!steps.empty()) {
    const auto [node, first] = steps.back();
    steps.pop_back();
    if (node == nullptr) {
      out += "]}";
      continue;
    }
    out += (first ? "{\"key\":" : ",{\"key\":") + jsonText(node->key) +
           ",\"value\":" + jsonText(node->value) + ",\"label\":" + jsonText(node->label) +
           ",\"image\":" + std::to_string(node->image) +
           ",\"expanded\":" + (node->expanded ? "true" : "false") + ",\"children\":[";
    steps.push_back({nullptr, false});
    push(node->children);
  }
  return out + "]}";
}

} // namespace

velto_status velto_save_bag(velto_control *control, velto_value *result) {
  return with(control, [=](ControlObject &object) {
    if (result == nullptr)
      return noResult();
    object.text = object.control->save().text();
    *result = textToC(object.text);
    return VELTO_OK;
  });
}

velto_status velto_load_bag(velto_control *control, const char *text, size_t length) {
  return with(control, [=](ControlObject &object) {
    if (text == nullptr && length != 0)
      return fail(VELTO_WRONG_ARGUMENTS, "the bag's text is null");
    const auto bag =
        PropertyBag::parse(length == 0 ? std::string_view() : std::string_view(text, length));
    if (!bag)
      return fail(VELTO_FAILED, "a line of the bag has no \"=\"");
    object.control->load(*bag);
    return VELTO_OK;
  });
}

int velto_is_modified(velto_control *control) {
  int modified = -1;
  with(control, [&modified](ControlObject &object) {
    modified = object.control->modified() ? 1 : 0;
    return VELTO_OK;
  });
  return modified;
}

velto_status velto_window(velto_control *control, velto_value *result) {
  return with(control, [=](ControlObject &object) {
    if (result == nullptr)
      return noResult();
    auto tree = object.control->windowTree();
    object.text = tree ? treeJson(std::move(*tree))
                       : "{\"kind\":\"text\",\"text\":" + jsonText(object.control->window()) + '}';
    *result = textToC(object.text);
    return VELTO_OK;
  });
}

velto_status velto_on_window(velto_control *control,
                             void (*changed)(void *user, velto_control *control), void *user) {
  return with(control, [=](ControlObject &object) {
    if (changed == nullptr)
      object.control->viewChanges().observe(nullptr);
    else
      object.control->viewChanges().observe([=] { changed(user, control); });
    return VELTO_OK;
  });
}
