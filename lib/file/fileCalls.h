/*
 * fileCalls.h -- the system calls that the file rooms make, as one table
 *
 *   const int fd = gFileCalls->open(path, O_RDONLY | O_CLOEXEC, 0);
 *
 * Whatever reads, writes, creates, renames or removes a file, and whatever sleeps, goes through the table. Tests
 * replace it by one whose nth call fails, ends the process, or waits for its turn. Questions that change nothing
 * on the medium and cannot decide a race (realpath(), access()) are asked directly.
 *
 * Ownership: the table is constant.
 * Errors:    as of the system calls.
 * Threads:   the pointer changes only while no other thread uses files.
 */
#pragma once

#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/vfs.h>

#include <string>
#include <vector>

#include <glib.h>

struct FileCalls {
    int (*open)(const char *path, int flags, mode_t mode);
    int (*close)(int fd);
    ssize_t (*read)(int fd, void *buffer, size_t size);
    ssize_t (*write)(int fd, const void *buffer, size_t size);
    ssize_t (*pread)(int fd, void *buffer, size_t size, off_t offset);
    ssize_t (*pwrite)(int fd, const void *buffer, size_t size, off_t offset);
    ssize_t (*readv)(int fd, const iovec *vectors, int count);
    ssize_t (*writev)(int fd, const iovec *vectors, int count);
    ssize_t (*preadv)(int fd, const iovec *vectors, int count, off_t offset);
    ssize_t (*pwritev)(int fd, const iovec *vectors, int count, off_t offset);
    int (*flock)(int fd, int operation);
    int (*fsync)(int fd);
    int (*ftruncate)(int fd, off_t size);
    int (*fchmod)(int fd, mode_t mode);
    int (*fchown)(int fd, uid_t user, gid_t group);
    int (*rename)(const char *from, const char *to);
    int (*link)(const char *from, const char *to);
    int (*unlink)(const char *path);
    int (*mkdir)(const char *path, mode_t mode);
    int (*rmdir)(const char *path);
    int (*lstat)(const char *path, struct stat *status);
    int (*statfs)(const char *path, struct statfs *status);
    /* Lists a folder without "." and "..". 0 or an errno value. */
    int (*list)(const char *path, std::vector<std::string> *names);
    void (*sleep)(guint32 msec);
};

/* Returns a stream over the table that takes over a descriptor and hides EINTR; fileno() is -1. NULL with errno, and
 * the descriptor is closed. */
FILE *FileCalls_OpenStream(int fd, const char *mode);

/* Those of the system, and those in use. */
extern const FileCalls kFileCallsOfSystem;
extern const FileCalls *gFileCalls;
