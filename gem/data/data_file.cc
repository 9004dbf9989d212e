#include "gem/data/data_file.h"

#include "base/text.h"
#include "gem/data/archive.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace velto {

namespace {

constexpr ArchiveClass kGem{"CHGem"};
constexpr ArchiveClass kCommunication{"CHGemCommunicationModel", 2};
constexpr ArchiveClass kControl{"CHGemControlModel"};
constexpr ArchiveClass kEventModel{"CHGemEventModel"};
constexpr ArchiveClass kEvents{"CHGemEventCeidList"};
constexpr ArchiveClass kReports{"CHGemEventReportList"};
constexpr ArchiveClass kVariables{"CHGemEventVidList"};
constexpr ArchiveClass kAlarmModel{"CHGemAlarmModel"};

// The objects of lists: their class, what one takes at the least with the number of its class, and
// their fields in the order of the file, once for both directions.
template <typename T> struct Layout;

template <> struct Layout<CHGemEventCeid> {
  static constexpr ArchiveClass kClass{"CHGemEventCeid"};
  static constexpr size_t kSmallest = 11;
  static void fields(auto &archive, auto &event) {
    archive.fields(event.ceid, event.enable, event.description, event.role, event.reports);
  }
};

template <> struct Layout<CHGemEventReport> {
  static constexpr ArchiveClass kClass{"CHGemEventReport"};
  static constexpr size_t kSmallest = 9;
  static void fields(auto &archive, auto &report) {
    archive.fields(report.rptid, report.description, report.variables);
  }
};

template <> struct Layout<CHGemEventVid> {
  static constexpr ArchiveClass kClass{"CHGemEventVid"};
  static constexpr size_t kSmallest = 15;
  static void fields(auto &archive, auto &variable) {
    archive.fields(variable.vid, variable.kind, variable.nodeType, variable.texts(), variable.role);
  }
};

template <> struct Layout<CHGemAlarmAlid> {
  static constexpr ArchiveClass kClass{"CHGemAlarmAlid"};
  static constexpr size_t kSmallest = 9;
  static void fields(auto &archive, auto &alarm) {
    archive.fields(alarm.alid, alarm.alcd, alarm.enable, alarm.altx);
  }
};

void controlFields(auto &archive, auto &control) {
  archive.fields(control.initialState, control.initialOfflineState, control.offlineState,
                 control.onlineState);
}

template <typename T> void storeObjects(ArchiveWriter &archive, const auto &list) {
  archive.count(list.Count());
  for (size_t i = 0; i < list.Count(); ++i) {
    archive.object(Layout<T>::kClass);
    Layout<T>::fields(archive, list.at(i));
  }
}

// Fills a list that is kept in order of number. Objects may come in any order: to insert each in
// its place could take a time quadratic in their number.
template <typename T> bool loadNumbered(ArchiveReader &archive, auto &list) {
  uint32_t left = archive.count(Layout<T>::kSmallest);
  for (list.Reserve(left); left > 0 && !archive.failed(); --left) {
    archive.object(Layout<T>::kClass.name);
    Layout<T>::fields(archive, list.Append());
  }
  return !archive.failed() && list.Sort();
}

bool loadReports(ArchiveReader &archive, CHGemEventReportList &reports) {
  using ReportLayout = Layout<CHGemEventReport>;
  for (uint32_t left = archive.count(ReportLayout::kSmallest); left > 0; --left) {
    archive.object(ReportLayout::kClass.name);
    CHGemEventReport report;
    ReportLayout::fields(archive, report);
    if (archive.failed() || reports.FindReport(report.rptid) != nullptr)
      return false;
    reports.Add(std::move(report));
  }
  return !archive.failed();
}

bool loadCommunication(ArchiveReader &archive, CommunicationSettings &communication) {
  const uint16_t schema = archive.object(kCommunication.name);
  archive.fields(communication.initialState, communication.modelName,
                 communication.softwareRevision);
  if (schema >= kCommunication.schema) // older ones lack it
    archive.field(communication.establishCommunications);
  return !archive.failed();
}

std::string backupName(const std::string &path, int32_t number) {
  return path + formatText("%03d", number);
}

// Gives a file a second name, or where the file system has no such thing, makes a copy.
bool keepAs(FileSystem &files, const std::string &path, const std::string &name) {
  if (files.link(path, name))
    return true;
  const auto bytes = readDataFile(files, path);
  return bytes && files.replace(name, *bytes);
}

// Moves the backups up by one number, from backup 0 on.
void rotateBackups(FileSystem &files, const std::string &path, int32_t backups) {
  constexpr int32_t kMost = 999; // three digits
  backups = std::min(backups, kMost);
  files.remove(backupName(path, backups));
  for (int32_t number = backups - 1; number >= 0; --number)
    files.rename(backupName(path, number), backupName(path, number + 1));
}

// Gives the old file the name of backup 0 as well. It keeps its own, until the new file takes that
// over: were it moved, a crash between the two steps would leave nothing to load. A backup 0 that
// is there already was left by a save that ended half way. It becomes the first backup as soon as
// the file that came after it is safe on the disk; until then it is the model that was safe last.
void keepOldFile(FileSystem &files, const std::string &path, int32_t backups) {
  const std::string kept = backupName(path, 0);
  if (!files.size(path))
    return;
  if (files.size(kept)) {
    if (readDataFile(files, kept) == readDataFile(files, path) || !files.syncDirectory(path))
      return;
    rotateBackups(files, path, backups);
    if (files.size(kept))
      return;
  }
  keepAs(files, path, kept);
}

void store(ArchiveWriter &archive, const GemData &data) {
  archive.object(kGem);
  archive.field(data.changePCClock);

  archive.object(kCommunication);
  archive.fields(data.communication.initialState, data.communication.modelName,
                 data.communication.softwareRevision, data.communication.establishCommunications);
  archive.object(kControl);
  controlFields(archive, data.control);

  archive.object(kEventModel);
  archive.object(kEvents);
  storeObjects<CHGemEventCeid>(archive, data.events);
  archive.object(kReports);
  storeObjects<CHGemEventReport>(archive, data.reports);
  archive.object(kVariables);
  storeObjects<CHGemEventVid>(archive, data.variables);

  archive.object(kAlarmModel);
  storeObjects<CHGemAlarmAlid>(archive, data.alarms);
}

} // namespace

std::string storeGemData(const GemData &data) {
  ArchiveWriter archive;
  store(archive, data);
  return archive.take();
}

std::optional<GemData> loadGemData(std::string bytes) {
  const auto file = std::make_shared<const std::string>(std::move(bytes));
  ArchiveReader archive(*file);
  GemData data;
  archive.object(kGem.name);
  archive.field(data.changePCClock);
  if (!loadCommunication(archive, data.communication))
    return std::nullopt;
  archive.object(kControl.name);
  controlFields(archive, data.control);

  archive.object(kEventModel.name);
  archive.object(kEvents.name);
  if (!loadNumbered<CHGemEventCeid>(archive, data.events))
    return std::nullopt;
  archive.object(kReports.name);
  if (!loadReports(archive, data.reports))
    return std::nullopt;
  archive.object(kVariables.name);
  if (!loadNumbered<CHGemEventVid>(archive, data.variables))
    return std::nullopt;
  data.variables.KeepAlive(file);

  archive.object(kAlarmModel.name);
  if (!loadNumbered<CHGemAlarmAlid>(archive, data.alarms) || !archive.finished())
    return std::nullopt;
  return data;
}

bool canBeSaved(const GemData &data, size_t growth) {
  ArchiveWriter archive(ArchiveWriter::Keep::Size);
  store(archive, data);
  return growth <= kMaxDataFile && archive.size() <= kMaxDataFile - growth;
}

bool saveDataFile(FileSystem &files, const std::string &path, int32_t backups,
                  std::string_view bytes) {
  if (bytes.size() > kMaxDataFile) {
    errno = EFBIG;
    return false;
  }
  if (backups < 1)
    return files.replace(path, bytes);
  keepOldFile(files, path, backups);
  const std::string kept = backupName(path, 0);
  if (files.replace(path, bytes)) {
    if (files.size(kept))
      rotateBackups(files, path, backups);
    return true;
  }
  const int error = errno;
  if (readDataFile(files, kept) == readDataFile(files, path)) // the old file is still in place
    files.remove(kept);
  errno = error;
  return false;
}

bool keepDamagedFile(FileSystem &files, const std::string &path) {
  const std::string damaged = path + ".damaged";
  if (!files.size(path))
    return true;
  files.remove(damaged);
  return keepAs(files, path, damaged) || files.rename(path, damaged);
}

std::optional<std::string> readDataFile(FileSystem &files, const std::string &path) {
  const auto size = files.size(path);
  return size && *size <= kMaxDataFile ? files.read(path) : std::nullopt;
}

} // namespace velto
