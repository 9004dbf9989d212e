#include "gem/data/report.h"

#include "gem/data/list_text.h"

#include <algorithm>
#include <utility>

namespace velto {

const CHGemEventReport *CHGemEventReportList::FindReport(uint32_t rptid) const {
  const auto found = byNumber_.find(rptid);
  return found == byNumber_.end() ? nullptr : found->second;
}

CHGemEventReport *CHGemEventReportList::FindReport(uint32_t rptid) {
  return const_cast<CHGemEventReport *>(std::as_const(*this).FindReport(rptid));
}

CHGemEventReport &CHGemEventReportList::Add(CHGemEventReport report) {
  reports_.push_back(std::make_unique<CHGemEventReport>(std::move(report)));
  CHGemEventReport &added = *reports_.back();
  byNumber_.emplace(added.rptid, &added);
  return added;
}

bool CHGemEventReportList::Remove(const std::set<uint32_t> &rptids) {
  for (const uint32_t rptid : rptids)
    byNumber_.erase(rptid);
  return std::erase_if(reports_, [&rptids](const auto &report) {
           return rptids.contains(report->rptid);
         }) != 0;
}

void CHGemEventReportList::Clear() {
  byNumber_.clear();
  reports_.clear();
}

void CHGemEventReportList::CopyFrom(const CHGemEventReportList &other) {
  if (this == &other)
    return;
  Clear();
  for (const auto &report : other.reports_)
    Add(*report);
}

ListView CHGemEventReportList::view() const {
  ListView view;
  view.columns = {"Report ID", "Linked VID", "Definition"};
  view.rows.reserve(reports_.size());
  for (const auto &report : reports_)
    view.rows.push_back(
        {std::to_string(report->rptid), joinNumbers(report->variables), report->description});
  return view;
}

void CHGemEventReportList::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add(countedTitle("Reports", reports_.size()));
  for (const auto &report : reports_) {
    TreeNode &line = branch.add(numberedLine(report->rptid, report->description));
    for (const uint32_t vid : report->variables)
      line.add(std::to_string(vid));
  }
}

bool CHGemEventReportList::operator==(const CHGemEventReportList &other) const {
  return std::ranges::equal(reports_, other.reports_,
                            [](const auto &a, const auto &b) { return *a == *b; });
}

} // namespace velto
