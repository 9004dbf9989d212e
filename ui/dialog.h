#pragma once

#include "ui/view.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// One entry of a property page. Its text is what the operator sees and edits.
struct Field {
  enum class Kind {
    Text,    ///< any text on one line
    Word,    ///< a text without blanks, such as an address; may be empty
    Integer, ///< a decimal number
    Check,   ///< "true" or "false"
    Choice,  ///< one of `choices`
    Label,   ///< nothing to edit
  };

  std::string key;   ///< the property that the field edits
  std::string label; ///< what stands in front of it
  Kind kind = Kind::Text;
  std::string value;
  int64_t minimum = 0; ///< Integer: smallest and largest accepted value
  int64_t maximum = 0; ///< Text and Word: longest accepted text, 0: of any length
  std::vector<std::string> choices;
  std::string shown = value; ///< the value that the sheet opened with

  bool changed() const { return value != shown; }
  /// Why the field cannot hold its value, naming the field; empty when it can. What the sheet
  /// opened with is always right: nobody has to mend a page that he did not look at.
  std::string problem() const;
};

/// A list on a page. The actions (an empty one is not offered) run dialogs of their own and bring
/// the list up to date.
struct PageList {
  ListView view;
  size_t selected = 0; ///< a row; without meaning in an empty list
  std::function<void()> add;
  std::function<void(size_t row)> edit;
  std::function<void(size_t row)> remove;
};

/// One page of a property sheet.
struct PropertyPage {
  std::string title;
  std::vector<Field> fields;
  std::optional<PageList> list;

  void text(std::string key, std::string label, std::string value, int64_t longest = 0);
  void word(std::string key, std::string label, std::string value, int64_t longest = 0);
  void integer(std::string key, std::string label, int64_t value, int64_t minimum, int64_t maximum);
  void check(std::string key, std::string label, bool value);
  void choice(std::string key, std::string label, std::string value,
              std::vector<std::string> choices);
  void label(std::string key, std::string text);

  /// The field with exactly this key, which must be there.
  Field &field(std::string_view key);
  const Field &field(std::string_view key) const;
};

/// A box with a text that waits for the operator.
struct MessageBox {
  enum class Icon { None, Stop, Question };

  std::string text;
  std::string title{};
  Icon icon = Icon::None;
  bool cancel = false; ///< there is a button Cancel beside OK
};

/// A box titled "Error" with the stop icon.
MessageBox errorBox(std::string text);

class FrontEnd;

/// A modal property sheet: pages of fields and lists that the operator accepts with OK or cancels.
/// One with a single page that has no title is a dialog.
struct PropertySheet {
  std::string title;
  std::vector<PropertyPage> pages;
  size_t active = 0; ///< the page on top
  /// What the fields together must meet: the reason why the sheet cannot be accepted, or nothing.
  std::function<std::string(const PropertySheet &)> check;

  bool isDialog() const { return pages.size() == 1 && pages[0].title.empty(); }
  /// The field with this key or label, without regard to letter case; null when there is none.
  Field *find(std::string_view keyOrLabel);
  std::string value(std::string_view key);
  int64_t integer(std::string_view key);
  bool checked(std::string_view key);

  /// Why the sheet cannot be accepted: the problem of the first field that has one, whose page
  /// comes to the top, or that of `check`. Empty when all is right.
  std::string problem();
  /// What OK does: true when the sheet may close. Otherwise the operator has been told why in a
  /// box, and the sheet stays open.
  bool accept(FrontEnd &frontEnd);
};

/// What shows message boxes and sheets to the operator. These are modal: the call returns when the
/// operator has answered. Meanwhile anything may happen, unless the front end holds the loop back.
class FrontEnd {
public:
  virtual ~FrontEnd() = default;
  virtual void messageBox(const std::string &text) = 0;
  /// Tells those who write the host what went wrong in their call, beside its result. No box, and
  /// nobody answers; dropped unless the front end has a place for it.
  virtual void remark(const std::string &) {}
  /// True when the operator pressed OK. A front end without boxes of this kind shows the text
  /// alone; a question then counts as cancelled.
  virtual bool showBox(const MessageBox &box);
  /// True when the operator accepted the sheet (OK, and accept() agreed), which then holds the new
  /// values. The sheet stays in place meanwhile: the actions of its lists refer to it.
  virtual bool showSheet(PropertySheet &sheet) = 0;
};

/// The front end of a process without an operator: boxes vanish, sheets are cancelled.
FrontEnd &headlessFrontEnd();

} // namespace velto
