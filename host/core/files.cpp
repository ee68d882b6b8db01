#include "files.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "declarations.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace tavo::host {

namespace {

// --- the few calls that differ between the systems

#ifdef _WIN32
int create_new(const char *path) {
  return _open(path, _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
}
long write_some(int fd, const void *bytes, std::size_t size) {
  return _write(fd, bytes, static_cast<unsigned>(std::min<std::size_t>(size, 1u << 30)));
}
int sync_file(int fd) { return _commit(fd); }
int close_file(int fd) { return _close(fd); }
int remove_file(const char *path) { return _unlink(path); }
int process_id() { return _getpid(); }
void sync_folder(const fs::path &) {}
#else
int create_new(const char *path) { return ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, 0666); }
long write_some(int fd, const void *bytes, std::size_t size) { return ::write(fd, bytes, size); }
int sync_file(int fd) { return ::fsync(fd); }
int close_file(int fd) { return ::close(fd); }
int remove_file(const char *path) { return ::unlink(path); }
int process_id() { return static_cast<int>(::getpid()); }
// The rename is on the disk only once the folder is; a file system that
// cannot sync a folder has nothing to do.
void sync_folder(const fs::path &folder) {
  const int fd = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}
#endif

std::string system_reason(int error) { return std::generic_category().message(error); }

[[noreturn]] void fail_read(const std::string &path, const std::string &what, const std::string &reason) {
  throw Error("cannot read the " + what + " \"" + path + "\": " + reason);
}

std::string kind_of(fs::file_type type) {
  switch (type) {
    case fs::file_type::directory: return system_reason(EISDIR);
    case fs::file_type::character: return "not a regular file but a character device";
    case fs::file_type::block: return "not a regular file but a block device";
    case fs::file_type::fifo: return "not a regular file but a pipe";
    case fs::file_type::socket: return "not a regular file but a socket";
    default: return "not a regular file";
  }
}

// --- temporary files the signal handlers remove

constexpr int kSlots = 8;
constexpr std::size_t kPathRoom = 4096;
char g_temporary[kSlots][kPathRoom];
volatile std::sig_atomic_t g_used[kSlots];
int g_registered = 0;  // changed by the thread that writes, never by a handler

#ifdef _WIN32
const int kSignals[] = {SIGINT, SIGTERM};
void (*g_previous[3])(int);
#else
const int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
struct sigaction g_previous[3];
#endif

extern "C" void remove_temporaries(int signal) {
  for (int i = 0; i < kSlots; ++i)
    if (g_used[i]) remove_file(g_temporary[i]);
  // Then whatever the signal did before: usually the end of the process.
  for (int k = 0; k < static_cast<int>(std::size(kSignals)); ++k) {
    if (kSignals[k] != signal) continue;
#ifdef _WIN32
    std::signal(signal, g_previous[k] ? g_previous[k] : SIG_DFL);
#else
    sigaction(signal, &g_previous[k], nullptr);
#endif
  }
  std::raise(signal);
}

void install_handlers(bool on) {
  for (int k = 0; k < static_cast<int>(std::size(kSignals)); ++k) {
#ifdef _WIN32
    if (on) g_previous[k] = std::signal(kSignals[k], remove_temporaries);
    else std::signal(kSignals[k], g_previous[k] == SIG_ERR ? SIG_DFL : g_previous[k]);
#else
    if (on) {
      struct sigaction action {};
      action.sa_handler = remove_temporaries;
      sigemptyset(&action.sa_mask);
      sigaction(kSignals[k], nullptr, &g_previous[k]);
      if (g_previous[k].sa_handler != SIG_IGN) sigaction(kSignals[k], &action, nullptr);  // ignored stays ignored
    } else {
      sigaction(kSignals[k], &g_previous[k], nullptr);
    }
#endif
  }
}

int register_temporary(const std::string &path) {
  if (path.size() >= kPathRoom) return -1;
  for (int i = 0; i < kSlots; ++i) {
    if (g_used[i]) continue;
    std::memcpy(g_temporary[i], path.c_str(), path.size() + 1);
    std::atomic_signal_fence(std::memory_order_seq_cst);  // the path is whole before a handler may read it
    g_used[i] = 1;
    if (g_registered++ == 0) install_handlers(true);
    return i;
  }
  return -1;
}

void unregister_temporary(int slot) {
  if (slot < 0) return;
  g_used[slot] = 0;
  if (--g_registered == 0) install_handlers(false);
}

// Same folder (a rename never crosses file systems), same extension (it
// tells the format), a name that no other process uses.
std::string temporary_name(const fs::path &target) {
  const std::string suffix = ".partial-" + std::to_string(process_id()) + target.extension().string();
  std::string stem = target.stem().string();
  if (stem.size() + suffix.size() + 1 > 255) stem.clear();  // still a valid name beside a very long one
  fs::path temporary = target;
  temporary.replace_filename("." + stem + suffix);
  return temporary.string();
}

}  // namespace

std::string format_bytes(std::uintmax_t bytes) {
  if (bytes >= (std::uintmax_t{1} << 20) && bytes % (std::uintmax_t{1} << 20) == 0)
    return std::to_string(bytes >> 20) + " MiB";
  if (bytes >= 1024 && bytes % 1024 == 0) return std::to_string(bytes >> 10) + " KiB";
  return std::to_string(bytes) + " bytes";
}

std::uintmax_t regular_file_size(const std::string &path, const std::string &what, std::uintmax_t limit) {
  if (path.empty()) fail_read(path, what, "the file name is empty");
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (ec) fail_read(path, what, ec.message());
  if (!fs::is_regular_file(status)) fail_read(path, what, kind_of(status.type()));
  const std::uintmax_t size = fs::file_size(path, ec);
  if (ec) fail_read(path, what, ec.message());
  if (size > limit)
    fail_read(path, what, "larger than the limit of " + format_bytes(limit) + " (" + std::to_string(size) + " bytes)");
  return size;
}

std::string read_file(const std::string &path, const std::string &what, std::uintmax_t limit) {
  const std::uintmax_t size = regular_file_size(path, what, limit);
  errno = 0;
  const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!file) fail_read(path, what, errno ? system_reason(errno) : "cannot open it");
  std::string text;
  try {
    text.reserve(static_cast<std::size_t>(size));
    char buffer[1 << 16];
    // The file may grow while it is read: the limit holds all the same.
    for (;;) {
      const std::size_t n = std::fread(buffer, 1, sizeof buffer, file.get());
      if (text.size() + n > limit) fail_read(path, what, "larger than the limit of " + format_bytes(limit));
      text.append(buffer, n);
      if (n < sizeof buffer) break;
    }
  } catch (const std::bad_alloc &) {
    fail_read(path, what, "not enough memory");
  }
  if (std::ferror(file.get())) fail_read(path, what, errno ? system_reason(errno) : "a read failed");
  return text;
}

// ------------------------------------------------------------ OutputFile

OutputFile::OutputFile(std::string path, std::string what) : path_(std::move(path)), what_(std::move(what)) {
  if (path_.empty()) fail("the file name is empty");
  std::error_code ec;
  const fs::file_status target = fs::status(path_, ec);
  if (ec && ec != std::errc::no_such_file_or_directory) fail(ec.message());
  if (fs::exists(target) && !fs::is_regular_file(target)) fail(kind_of(target.type()));
  const fs::path folder = fs::path(path_).parent_path();
  if (!folder.empty()) {
    const fs::file_status status = fs::status(folder, ec);
    if (ec) fail("the folder \"" + folder.string() + "\": " + ec.message());
    if (!fs::is_directory(status)) fail("\"" + folder.string() + "\" is not a folder");
  }

  temporary_ = temporary_name(path_);
  slot_ = register_temporary(temporary_);
  for (int attempt = 0; attempt < 2 && fd_ < 0; ++attempt) {
    fd_ = create_new(temporary_.c_str());
    // A file of this name is what a process of the same number left behind when it was killed.
    if (fd_ < 0 && errno == EEXIST && attempt == 0) remove_file(temporary_.c_str());
    else if (fd_ < 0) fail(system_reason(errno));
  }
  // A file that is replaced keeps who may read it.
  if (fs::exists(target)) fs::permissions(temporary_, target.permissions(), ec);
}

OutputFile::~OutputFile() { discard(); }

void OutputFile::check_writable(const std::string &path, const std::string &what) { OutputFile probe(path, what); }

void OutputFile::fail(const std::string &reason) {
  discard();
  throw Error("cannot write the " + what_ + " \"" + path_ + "\": " + reason);
}

void OutputFile::discard() {
  if (fd_ >= 0) close_file(fd_);
  fd_ = -1;
  if (!temporary_.empty()) remove_file(temporary_.c_str());
  temporary_.clear();
  unregister_temporary(slot_);
  slot_ = -1;
}

void OutputFile::write(const void *bytes, std::size_t size) {
  if (fd_ < 0) fail("the file is closed");
  const char *at = static_cast<const char *>(bytes);
  while (size > 0) {
    const long n = write_some(fd_, at, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) fail(n < 0 ? system_reason(errno) : "the system wrote nothing");
    at += n, size -= static_cast<std::size_t>(n), written_ += static_cast<std::uintmax_t>(n);
  }
}

void OutputFile::commit(void (*verify)(const std::string &, void *), void *context) {
  if (fd_ < 0) fail("the file is closed");
  if (sync_file(fd_) != 0) fail(system_reason(errno));
  const int fd = fd_;
  fd_ = -1;
  if (close_file(fd) != 0) fail(system_reason(errno));
  std::error_code ec;
  const std::uintmax_t size = fs::file_size(temporary_, ec);
  if (ec) fail(ec.message());
  if (size != written_)
    fail("the file has " + std::to_string(size) + " of its " + std::to_string(written_) + " bytes");
  if (verify) {
    try {
      verify(temporary_, context);
    } catch (const Error &e) {
      fail(e.what());
    }
  }
  fs::rename(temporary_, path_, ec);
  if (ec) fail(ec.message());
  temporary_.clear();
  unregister_temporary(slot_);
  slot_ = -1;
  sync_folder(fs::path(path_).parent_path());
}

}  // namespace tavo::host
