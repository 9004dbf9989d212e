#include "controls/component/page_field.h"

namespace velto {

std::vector<PageField> keepAliveFields() {
  return {{"KeepAliveIdle", "Keep-alive after (s)", 0, kMaxInt32},
          {"KeepAliveInterval", "Keep-alive Interval (s)", 0, kMaxInt32},
          {"KeepAliveCount", "Keep-alive Count", 0, kMaxInt32},
          {"SendTimeout", "Send Timeout (s)", 0, kMaxInt32}};
}

void addField(PropertyPage &page, const PageField &field, const Variant &value,
              int64_t longestText) {
  if (value.isText() && field.word)
    page.word(field.setting, field.label, value.toString(), longestText);
  else if (value.isText())
    page.text(field.setting, field.label, value.toString(), longestText);
  else if (value.isBool())
    page.check(field.setting, field.label, value.toBool());
  else
    page.integer(field.setting, field.label, value.toInteger() / field.scale, field.minimum,
                 field.maximum);
}

} // namespace velto
