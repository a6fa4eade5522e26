#pragma once

// The file nuv.cfg, in which a site names other files for the libraries behind this one, and the tables of names that
// the loaders hand to dlopen. The exported functions are declared in <nuv/nuv_services.h>.
//
// The reader takes no lock. Threads that meet in it all run it: each sets the tables to the defaults and applies the
// file again, so that a loader may see an entry half written. That race is accepted; an application that wants
// certainty calls one kernel before it starts threads. Tables are shared byte by byte as plain words, and a loader
// takes its name out of them through LibraryName.

namespace nuv {

/// Room for a line of the file, a path or a library name, terminator included. A path that needs more counts as not
/// found: it is neither cut nor written past its end.
inline constexpr int name_room = 1024;

inline constexpr int tier_count = 5;

extern char dll_cfg_names[tier_count][name_room];  ///< kernel library, by processor tier
extern char dll_cfg_names_l[name_room];            ///< this library, for others of the set
extern char dll_cfg_names_oql[name_room];          ///< sibling library

/// 1 once a run of the reader has finished.
extern int cfg_file_readed;

/// What the reader answers, and leaves in __nuv_cfg_file_readed_extern.
enum ConfigurationResult : int {
  configuration_was_read_before = 333,
  no_configuration_file = -111,
  configuration_file_read = -777,
};

/// Finds the file and fills the tables; with a non-zero argument it reads the file but applies no key.
int read_configuration(int skip_keys);

/// A name taken out of its table, for dlopen.
class LibraryName {
 public:
  explicit LibraryName(const char (&entry)[name_room]);
  const char* text() const { return text_; }

 private:
  char text_[name_room];
};

/// Back to the state at load, for tests that run the reader more than once in a process.
void forget_configuration();

}  // namespace nuv
