// The files a user names. Every file the host takes in whole (scenes,
// declarations, meshes, batches) comes through read_file, and a file that a
// library opens itself (an image) passes regular_file_size first: only
// regular files of a bounded size, so that a directory, a device or a pipe
// fails at once instead of reading as empty or forever. Every file the host
// writes goes through OutputFile: whole and verified, or not at all.
// Errors name the path as the user typed it, and the system's own reason.
#pragma once

#include <cstdint>
#include <string>

namespace tavo::host {

// The largest file read_file takes in by default (docs/errors.md).
inline constexpr std::uintmax_t kMaxTextFileBytes = std::uintmax_t{256} << 20;

// The size of `path`, which must be a regular file of at most `limit` bytes.
// Raises Error "cannot read the <what> "PATH": <reason>".
std::uintmax_t regular_file_size(const std::string &path, const std::string &what, std::uintmax_t limit);

// The whole content of the regular file `path` (at most `limit` bytes).
// Raises only Error, worded as regular_file_size's.
std::string read_file(const std::string &path, const std::string &what, std::uintmax_t limit = kMaxTextFileBytes);

// "12 MiB", "3 KiB", "17 bytes": a size as people read it.
std::string format_bytes(std::uintmax_t bytes);

// A file replaced whole or not at all. Its bytes go to a hidden temporary
// file beside the target (".NAME.partial-PID.ext"); commit() makes sure that
// every write and the close succeeded and that the file has every byte, flushes
// it to the disk, and only then renames it over the target. The temporary file
// is removed on any failure, when the OutputFile goes away uncommitted, and
// when SIGINT, SIGTERM or SIGHUP ends the process meanwhile.
// Every error reads "cannot write the <what> "PATH": <reason>".
class OutputFile {
 public:
  // Checks that the target can be written (see check_writable) and creates the
  // temporary file.
  OutputFile(std::string path, std::string what);
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  void write(const void *bytes, std::size_t size);
  // Flushes, closes and checks the temporary file; `verify`, when given, may
  // inspect it (by its path) before it takes the target's place.
  void commit(void (*verify)(const std::string &temporary, void *context) = nullptr, void *context = nullptr);

  const std::string &temporary() const { return temporary_; }

  // Raises Error when `path` cannot become a file: its folder is missing or
  // not writable, or the path is a directory or something other than a file.
  // Nothing is left behind.
  static void check_writable(const std::string &path, const std::string &what);

 private:
  [[noreturn]] void fail(const std::string &reason);
  void discard();

  std::string path_, what_, temporary_;
  int fd_ = -1;
  std::uintmax_t written_ = 0;
  int slot_ = -1;  // in the table of files the signal handlers remove
};

}  // namespace tavo::host
