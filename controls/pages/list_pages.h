#pragma once

#include "controls/pages/setup_page.h"

#include <set>
#include <type_traits>
#include <utility>
#include <vector>

namespace velto {

/// A page that lists the variables, events or alarms of the copy, with dialogs to add, edit and
/// delete them. What an entry consists of is the business of the pages below.
template <typename List> class ListPage : public SetupPage {
public:
  using Entry = std::remove_reference_t<decltype(std::declval<List &>().at(0))>;

  void refresh() override;
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

protected:
  struct Traits {
    const char *name; ///< "VID", "CEID" or "ALID"
    uint32_t Entry::*number;
    std::string (*text)(const Entry &); ///< named when the entry is deleted
    List ModelLists::*copy;
    List GemData::*live;
    std::vector<std::string> columns;
    bool editShowsSigned = false; ///< how the number stands in the box of an edit
  };

  ListPage(SetupDesk &desk, Traits traits) : SetupPage(desk), traits_(std::move(traits)) {}

  /// The row of an entry behind its number.
  virtual std::vector<std::string> row(const Entry &entry) const = 0;
  /// The fields of the dialog behind the number, and what the operator made of them.
  virtual void ask(PropertyPage &dialog, const Entry &entry) const = 0;
  virtual void take(const PropertyPage &dialog, Entry &entry) const = 0;
  /// What is wrong with the fields together; empty when nothing.
  virtual std::string entryProblem(const PropertyPage &) const { return ""; }
  /// Brings what the operator changed of an entry into the live one.
  virtual void merge(Entry &live, const Entry &before, const Entry &after) const = 0;

private:
  void fill(CVeltoGemCtrl &control) override;
  List &edited() const { return desk().edited.*traits_.copy; }
  void add();
  void edit(size_t row);
  void remove(size_t row);
  bool runDialog(PropertySheet &dialog, const Entry &entry, bool fresh);
  void select(uint32_t number);
  bool wasEdited(const Entry &before, const Entry &after) const;

  Traits traits_;
  std::set<uint32_t> removed_; // numbers of entries that were shown; others may have them by now
};

extern template class ListPage<CHGemAlarmAlidList>;
extern template class ListPage<CHGemEventCeidList>;
extern template class ListPage<CHGemEventVidList>;

/// Alarms.
class CPropAlid final : public ListPage<CHGemAlarmAlidList> {
public:
  explicit CPropAlid(SetupDesk &desk);

private:
  std::vector<std::string> row(const CHGemAlarmAlid &alarm) const override;
  void ask(PropertyPage &dialog, const CHGemAlarmAlid &alarm) const override;
  void take(const PropertyPage &dialog, CHGemAlarmAlid &alarm) const override;
  void merge(CHGemAlarmAlid &live, const CHGemAlarmAlid &before,
             const CHGemAlarmAlid &after) const override;
};

/// Collection events.
class CPropCeid final : public ListPage<CHGemEventCeidList> {
public:
  explicit CPropCeid(SetupDesk &desk);

private:
  std::vector<std::string> row(const CHGemEventCeid &event) const override;
  void ask(PropertyPage &dialog, const CHGemEventCeid &event) const override;
  void take(const PropertyPage &dialog, CHGemEventCeid &event) const override;
  void merge(CHGemEventCeid &live, const CHGemEventCeid &before,
             const CHGemEventCeid &after) const override;
};

/// Variables.
class CPropVid final : public ListPage<CHGemEventVidList> {
public:
  explicit CPropVid(SetupDesk &desk);

private:
  std::vector<std::string> row(const CHGemEventVid &variable) const override;
  void ask(PropertyPage &dialog, const CHGemEventVid &variable) const override;
  void take(const PropertyPage &dialog, CHGemEventVid &variable) const override;
  std::string entryProblem(const PropertyPage &dialog) const override;
  void merge(CHGemEventVid &live, const CHGemEventVid &before,
             const CHGemEventVid &after) const override;
};

} // namespace velto
