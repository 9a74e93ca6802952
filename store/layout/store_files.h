// The files of a store directory, by name. On disk.
#ifndef FENRA_STORE_LAYOUT_STORE_FILES_H
#define FENRA_STORE_LAYOUT_STORE_FILES_H

#include <glib.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

namespace ostren::fenra::store {

constexpr char DATABASE_FILE[] = "fenra.index";  // the nine databases
constexpr char GATE_FILE[] = "fenra.gate";
constexpr char JOURNAL_FILE[] = "fenra.journal";
constexpr char SEGMENTS_FILE[] = "fenra.segments";  // which segments there are
constexpr char ROOM_FILE[] = "fenra.room";          // reserves the disk space of the regions
constexpr char DB_CONFIG_FILE[] = "DB_CONFIG";      // Berkeley DB's, written by the user

inline bool has_prefix(std::string_view name, std::string_view prefix) {
  return name.substr(0, prefix.size()) == prefix;
}

// The shared memory of Berkeley DB's environment.
inline bool is_region_name(std::string_view name) { return has_prefix(name, "__db."); }

// A segment, or one that is being written.
constexpr std::string_view SEGMENT_PREFIX = "fenra.segment.";
inline bool is_segment_name(std::string_view name) { return has_prefix(name, SEGMENT_PREFIX); }

// Berkeley DB's log files: "log." and ten digits.
constexpr std::string_view LOG_PREFIX = "log.";
constexpr size_t LOG_DIGITS = 10;

inline bool is_log_name(std::string_view name) {
  return name.size() == LOG_PREFIX.size() + LOG_DIGITS && has_prefix(name, LOG_PREFIX) &&
         std::all_of(name.begin() + LOG_PREFIX.size(), name.end(),
                     [](char byte) { return g_ascii_isdigit(byte); });
}

// Of a log file's name.
inline guint32 log_number(const std::string& name) {
  return static_cast<guint32>(std::stoull(name.substr(LOG_PREFIX.size())));
}

inline std::string log_name(guint32 number) {
  char name[LOG_PREFIX.size() + LOG_DIGITS + 1];
  snprintf(name, sizeof name, "log.%010u", number);
  return name;
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_LAYOUT_STORE_FILES_H
