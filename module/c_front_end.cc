#include "module/c_front_end.h"

#include "base/json_text.h"
#include "module/objects.h"

namespace velto::module {

namespace {

/// What a velto_sheet stands for, while the sheet is shown.
struct SheetObject {
  PropertySheet *sheet;
  const std::thread::id thread = std::this_thread::get_id();
  std::string text = {};
};

HandleTable<SheetObject> &sheets() {
  static HandleTable<SheetObject> table;
  return table;
}

const char *kindName(Field::Kind kind) {
  switch (kind) {
  case Field::Kind::Text:
    return "text";
  case Field::Kind::Word:
    return "word";
  case Field::Kind::Integer:
    return "integer";
  case Field::Kind::Check:
    return "check";
  case Field::Kind::Choice:
    return "choice";
  case Field::Kind::Label:
    break;
  }
  return "label";
}

template <typename List, typename Print>
void appendArray(std::string &out, const List &list, Print print) {
  out += '[';
  bool first = true;
  for (const auto &element : list) {
    if (!first)
      out += ',';
    first = false;
    print(out, element);
  }
  out += ']';
}

void appendText(std::string &out, const std::string &text) { out += jsonText(text); }

void appendField(std::string &out, const Field &field) {
  out += "{\"key\":" + jsonText(field.key) + ",\"label\":" + jsonText(field.label) +
         ",\"kind\":\"" + kindName(field.kind) + "\",\"value\":" + jsonText(field.value);
  if (field.kind == Field::Kind::Integer)
    out += ",\"minimum\":" + std::to_string(field.minimum) +
           ",\"maximum\":" + std::to_string(field.maximum);
  if (field.kind == Field::Kind::Choice) {
    out += ",\"choices\":";
    appendArray(out, field.choices, appendText);
  }
  out += '}';
}

void appendPage(std::string &out, const PropertyPage &page) {
  out += "{\"title\":" + jsonText(page.title) + ",\"fields\":";
  appendArray(out, page.fields, appendField);
  if (page.list) {
    out += ",\"columns\":";
    appendArray(out, page.list->view.columns, appendText);
    out += ",\"rows\":";
    appendArray(out, page.list->view.rows,
                [](std::string &to, const ListRow &row) { appendArray(to, row, appendText); });
  }
  out += '}';
}

std::string sheetJson(const PropertySheet &sheet) {
  std::string out = "{\"title\":" + jsonText(sheet.title) +
                    ",\"dialog\":" + (sheet.isDialog() ? "true" : "false") + ",\"pages\":";
  appendArray(out, sheet.pages, appendPage);
  return out + '}';
}

std::shared_ptr<SheetObject> sheetOf(velto_sheet *sheet) {
  auto object = sheets().find(reinterpret_cast<uintptr_t>(sheet));
  if (object == nullptr)
    fail(VELTO_CLOSED, "the sheet is shown no more, or never was");
  else if (object->thread != std::this_thread::get_id())
    fail(VELTO_WRONG_THREAD, "the sheet belongs to another thread");
  return object != nullptr && object->thread == std::this_thread::get_id() ? object : nullptr;
}

} // namespace

void CFrontEnd::messageBox(const std::string &text) { showBox({text}); }

bool CFrontEnd::showBox(const MessageBox &box) {
  if (callbacks_.box == nullptr)
    return !box.cancel;
  return callbacks_.box(callbacks_.user, box.text.c_str(), box.title.c_str(),
                        static_cast<int>(box.icon), box.cancel ? 1 : 0) != 0;
}

bool CFrontEnd::showSheet(PropertySheet &sheet) {
  if (callbacks_.sheet == nullptr)
    return false;
  const uintptr_t handle = sheets().add(std::make_shared<SheetObject>(SheetObject{&sheet}));
  const bool accepted = callbacks_.sheet(callbacks_.user, toHandle<velto_sheet>(handle),
                                         sheetJson(sheet).c_str()) != 0;
  sheets().remove(handle);
  return accepted && sheet.problem().empty();
}

} // namespace velto::module

using namespace velto;
using namespace velto::module;

velto_status velto_sheet_set(velto_sheet *sheet, const char *field, const char *text,
                             size_t length) {
  return guarded([=] {
    const auto object = sheetOf(sheet);
    if (object == nullptr)
      return VELTO_CLOSED;
    if (field == nullptr || (text == nullptr && length != 0))
      return fail(VELTO_WRONG_ARGUMENTS, "a field and its text are due");
    Field *found = object->sheet->find(field);
    if (found == nullptr || found->kind == Field::Kind::Label)
      return fail(VELTO_NO_SUCH_MEMBER, "the sheet has no field " + std::string(field));
    found->value = length == 0 ? std::string() : std::string(text, length);
    return VELTO_OK;
  });
}

const char *velto_sheet_problem(velto_sheet *sheet) {
  const char *problem = "";
  guarded([&] {
    const auto object = sheetOf(sheet);
    if (object == nullptr)
      return VELTO_CLOSED;
    object->text = object->sheet->problem();
    problem = object->text.c_str();
    return VELTO_OK;
  });
  return problem;
}

int velto_page_show(velto_control *page, velto_control *control) {
  int accepted = -1;
  guarded([&] {
    const auto [shown, pageStatus] = controlOf(page);
    if (shown == nullptr)
      return pageStatus;
    const auto [object, status] = controlOf(control);
    if (object == nullptr)
      return status;
    if (shown->pageOf == nullptr || object->control == nullptr ||
        shown->pageOf != &object->control->members())
      return fail(VELTO_WRONG_TYPE, "a page shows a control of its own class");
    accepted = object->control->ShowPropertyPage() ? 1 : 0;
    return VELTO_OK;
  });
  return accepted;
}
