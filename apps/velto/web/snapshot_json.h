#pragma once

#include "apps/velto/web/snapshot.h"
#include "apps/velto/web/web_feed.h"

#include <string>

namespace velto {

// What the page is told, as JSON. The names are those of the structures.

/// All of a snapshot.
std::string toJson(const WebSnapshot &snapshot);
/// What is different in `now`: parts that changed, and of tables the rows that changed as
/// {"changed":[[table,row,[cells]]]}. Empty when nothing is. When rows came or went, it is all of
/// the snapshot.
std::string toJsonChange(const WebSnapshot &before, const WebSnapshot &now);
std::string toJson(const WebFeed::News &news);
std::string toJson(const WebResult &result);

} // namespace velto
