/* Preloaded into tavo by the full-disk tests: files whose path contains
 * TAVO_FAULT_PATH fail the way a full or failing disk makes them fail.
 * TAVO_FAULT=write: ENOSPC once TAVO_FAULT_AFTER bytes are written;
 * fsync: EIO from fsync; close: EIO from a close that did close. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

enum { kFiles = 1024 };
static char faulty[kFiles];
static long written[kFiles];

static int failing(int fd, const char *fault) {
  const char *chosen = getenv("TAVO_FAULT");
  return fd >= 0 && fd < kFiles && faulty[fd] && chosen && strcmp(chosen, fault) == 0;
}

static int track(int fd, const char *path) {
  const char *pattern = getenv("TAVO_FAULT_PATH");
  if (fd >= 0 && fd < kFiles) {
    faulty[fd] = pattern && path && strstr(path, pattern) != NULL;
    written[fd] = 0;
  }
  return fd;
}

#define OPEN(name)                                                                    \
  int name(const char *path, int flags, ...) {                                        \
    mode_t mode = 0;                                                                  \
    if (flags & (O_CREAT | O_TMPFILE)) {                                              \
      va_list args;                                                                   \
      va_start(args, flags);                                                          \
      mode = va_arg(args, mode_t);                                                    \
      va_end(args);                                                                   \
    }                                                                                 \
    int (*real)(const char *, int, ...) = (int (*)(const char *, int, ...))dlsym(RTLD_NEXT, #name); \
    return track(real(path, flags, mode), path);                                      \
  }
OPEN(open)
OPEN(open64)

ssize_t write(int fd, const void *bytes, size_t size) {
  ssize_t (*real)(int, const void *, size_t) = (ssize_t(*)(int, const void *, size_t))dlsym(RTLD_NEXT, "write");
  if (failing(fd, "write")) {
    const long room = atol(getenv("TAVO_FAULT_AFTER") ? getenv("TAVO_FAULT_AFTER") : "0") - written[fd];
    if (room <= 0) {
      errno = ENOSPC;
      return -1;
    }
    if ((long)size > room) size = (size_t)room;
  }
  const ssize_t n = real(fd, bytes, size);
  if (n > 0 && fd >= 0 && fd < kFiles) written[fd] += n;
  return n;
}

int fsync(int fd) {
  if (failing(fd, "fsync")) {
    errno = EIO;
    return -1;
  }
  return ((int (*)(int))dlsym(RTLD_NEXT, "fsync"))(fd);
}

int close(int fd) {
  const int fail = failing(fd, "close");
  if (fd >= 0 && fd < kFiles) faulty[fd] = 0;
  const int status = ((int (*)(int))dlsym(RTLD_NEXT, "close"))(fd);
  if (fail && status == 0) {
    errno = EIO;
    return -1;
  }
  return status;
}
