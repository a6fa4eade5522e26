// In 32-bit programs too, files are found whose size or inode number needs 64 bits.
#define _FILE_OFFSET_BITS 64

#include "frame/configuration.hpp"

#include <nuv/nuv_services.h>
#include <sys/stat.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/platform.hpp"
#include "frame/plain_word.hpp"

const char* const dll_def_names[nuv::tier_count] = {
    NUV_LIBRARY_FILE("libnuv_kpa"), NUV_LIBRARY_FILE("libnuv_kpa"), NUV_LIBRARY_FILE("libnuv_kpa"),
    NUV_LIBRARY_FILE("libnuv_kpa"), NUV_LIBRARY_FILE("libnuv_kpb"),
};
const char* const dll_def_names_l[1] = {NUV_LIBRARY_FILE("libnuv_lapack")};
const char* const dll_def_names_oql[1] = {NUV_LIBRARY_FILE("libnuv_oql")};

int __nuv_cfg_file_readed_extern = 0;

namespace nuv {

char dll_cfg_names[tier_count][name_room];
char dll_cfg_names_l[name_room];
char dll_cfg_names_oql[name_room];
int cfg_file_readed = 0;

namespace {

constexpr char file_name[] = "nuv.cfg";

struct KeyedEntry {
  const char* key;
  char* entry;
};

/// In the order in which a line is compared. The kernel library of the highest tier has no key.
constexpr KeyedEntry keyed_entries[] = {
    {"nuv_x87so=", dll_cfg_names[0]},  {"nuv_sse1so=", dll_cfg_names[1]},      {"nuv_sse2so=", dll_cfg_names[2]},
    {"nuv_sse3so=", dll_cfg_names[3]}, {"nuv_intervalso=", dll_cfg_names_oql}, {"nuv_lapackso=", dll_cfg_names_l},
};

/// The file that was read stays open for the life of the process.
std::FILE* configuration_stream = nullptr;

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

void set_name(char* entry, const char* name) {
  std::size_t i = 0;
  for (; name[i] != '\0'; ++i) plain_store(entry[i], name[i]);
  plain_store(entry[i], '\0');
}

void set_default_names() {
  for (int tier = 0; tier < tier_count; ++tier) set_name(dll_cfg_names[tier], dll_def_names[tier]);
  set_name(dll_cfg_names_l, dll_def_names_l[0]);
  set_name(dll_cfg_names_oql, dll_def_names_oql[0]);
}

/// Appends to a path; false, with the path as it was, where the whole does not fit.
bool append(char (&path)[name_room], const char* text) {
  const std::size_t old_length = std::strlen(path);
  const std::size_t length = std::strlen(text);
  if (old_length + length >= sizeof path) return false;
  std::memcpy(path + old_length, text, length + 1);
  return true;
}

/// Null for a directory too, which fopen alone would open.
std::FILE* open_file(const char* path) {
  std::FILE* file = std::fopen(path, "rt");
  if (file == nullptr) return nullptr;
  struct stat status;
  if (stat(path, &status) == 0 && !S_ISDIR(status.st_mode)) return file;
  std::fclose(file);
  return nullptr;
}

/// Whether one element of PATH has the file, whose path is left in `path`. An element that ends in a dot gets no slash
/// before the name, and the empty element stands for the root folder.
bool probe_element(const char* element, const char* name, char (&path)[name_room]) {
  path[0] = '\0';
  if (!append(path, element)) return false;
  remove_trailing_space(path);
  const std::size_t length = std::strlen(path);
  const char last = length > 0 ? path[length - 1] : '\0';
  if (last != '.' && last != '/' && !append(path, "/")) return false;
  if (!append(path, name)) return false;
  std::FILE* file = open_file(path);
  if (file == nullptr) return false;
  std::fclose(file);
  return true;
}

/// Looks for a file along PATH and, last, in the working folder.
bool search_path(const char* name, char (&path)[name_room]) {
  const char* variable = std::getenv("PATH");
  if (variable == nullptr) variable = "";
  const std::size_t length = std::strlen(variable);
  char* elements = static_cast<char*>(std::malloc(length + name_room));
  if (elements == nullptr) return false;
  std::memcpy(elements, variable, length);
  std::strcpy(elements + length, ":./:");

  bool found = false;
  char* element = elements;
  while (!found) {
    char* end = std::strchr(element, ':');
    if (end == nullptr) break;
    *end = '\0';
    found = probe_element(element, name, path);
    element = end + 1;
  }
  std::free(elements);
  return found;
}

/// The file that NUV_CFG_FILE names, or nuv.cfg in the working folder; where that is a folder, nuv.cfg in it.
std::FILE* open_first_candidate() {
  const char* variable = std::getenv("NUV_CFG_FILE");
  const bool is_set = variable != nullptr && *variable != '\0';
  char path[name_room] = "";
  if (!append(path, is_set ? variable : file_name)) return nullptr;
  if (std::FILE* file = open_file(path)) return file;
  return append(path, "/") && append(path, file_name) ? open_file(path) : nullptr;
}

std::FILE* open_configuration() {
  if (std::FILE* file = open_first_candidate()) return file;
  char path[name_room];
  return search_path(file_name, path) ? std::fopen(path, "rt") : nullptr;
}

/// A key is compared in the line as folded: without blanks, in lower case, without its line end. The value is taken
/// from the line as it stands, less its last line-end character and trailing blanks; a carriage return before the line
/// feed therefore stays in the value.
void apply_line(const char (&line)[name_room]) {
  char raw[name_room];
  std::strcpy(raw, line);
  remove_cr(raw);
  remove_trailing_space(raw);

  char folded[name_room];
  std::strcpy(folded, line);
  remove_cr(folded);
  remove_space(folded);
  remove_cr(folded);
  strlwr_nuv(folded);

  for (const KeyedEntry& keyed : keyed_entries) {
    if (std::strncmp(folded, keyed.key, std::strlen(keyed.key)) != 0) continue;
    const char* value = std::strchr(raw, '=') + 1;
    if (*value != '\0') set_name(keyed.entry, value);
  }
}

int report(ConfigurationResult result) {
  plain_store(__nuv_cfg_file_readed_extern, result);
  return result;
}

int finish(ConfigurationResult result) {
  plain_store(cfg_file_readed, 1);
  return report(result);
}

}  // namespace

int read_configuration(int skip_keys) {
  if (plain_load(cfg_file_readed) == 1) return report(configuration_was_read_before);
  set_default_names();
  std::FILE* file = open_configuration();
  if (file == nullptr) return finish(no_configuration_file);
  plain_store(configuration_stream, file);
  char line[name_room];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    if (skip_keys == 0) apply_line(line);
  }
  return finish(configuration_file_read);
}

LibraryName::LibraryName(const char (&entry)[name_room]) {
  int i = 0;
  while (i < name_room - 1 && (text_[i] = plain_load(entry[i])) != '\0') ++i;
  text_[i] = '\0';
}

void forget_configuration() {
  if (configuration_stream != nullptr) std::fclose(configuration_stream);
  configuration_stream = nullptr;
  for (auto& name : dll_cfg_names) std::memset(name, 0, sizeof name);
  std::memset(dll_cfg_names_l, 0, sizeof dll_cfg_names_l);
  std::memset(dll_cfg_names_oql, 0, sizeof dll_cfg_names_oql);
  cfg_file_readed = 0;
  __nuv_cfg_file_readed_extern = 0;
}

}  // namespace nuv

int nuv_cfg_file(int skip_keys) {
  return nuv::read_configuration(skip_keys);
}

int SearchPath(const char*, const char* name, const char*, int, char* result) {
  char path[nuv::name_room];
  if (!nuv::search_path(name, path)) return 0;
  std::strcpy(result, path);
  return static_cast<int>(std::strlen(path));
}

int remove_cr(char* text) {
  const std::size_t length = std::strlen(text);
  if (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) text[length - 1] = '\0';
  return static_cast<int>(length);
}

void remove_space(char* text) {
  char* kept = text;
  for (; *text != '\0'; ++text) {
    if (!nuv::is_blank(*text)) *kept++ = *text;
  }
  *kept = '\0';
}

void remove_trailing_space(char* text) {
  std::size_t length = std::strlen(text);
  while (length > 0 && nuv::is_blank(text[length - 1])) --length;
  text[length] = '\0';
}

void strlwr_nuv(char* text) {
  for (; *text != '\0'; ++text) *text = static_cast<char>(std::tolower(static_cast<unsigned char>(*text)));
}
