/* SPDX-License-Identifier: MIT */
/*
 * Measures acts on small files: act-rate runs it. One act opens a file, reads it and closes it.
 *
 *   acts read THREADS ACTS DIRECTORY FILES   do that many acts on the files 0, 1, ... of the directory, in turn;
 *                                            prints microseconds per act
 *   acts serve BACKING PLACE                 pass the files of a directory through, with as little work as FUSE allows
 */
#define FUSE_USE_VERSION 312
#include <errno.h>
#include <fcntl.h>
#include <fuse3/fuse_lowlevel.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

static const char* directory;
static long files;
static long acts;
static long threads;

/* Reads the file with this number, and from there every N-th one for N threads. */
static void* read_files(void* first) {
    char path[4096];
    char text[64];
    for (long i = *(const long*)first; i < acts; i += threads) {
        snprintf(path, sizeof path, "%s/%ld", directory, i % files);
        const int file = open(path, O_RDONLY | O_CLOEXEC);
        if (file < 0 || read(file, text, sizeof text) <= 0 || close(file) != 0) {
            perror(path);
            exit(1);
        }
    }
    return NULL;
}

static int read_all(void) {
    enum { most = 64 };
    pthread_t all[most];
    long firsts[most];
    struct timespec start;
    struct timespec end;
    if (threads > most) return 2;
    clock_gettime(CLOCK_MONOTONIC, &start);
    for (long i = 0; i < threads; i++) {
        firsts[i] = i;
        if (pthread_create(&all[i], NULL, read_files, &firsts[i]) != 0) return 2;
    }
    for (long i = 0; i < threads; i++) pthread_join(all[i], NULL);
    clock_gettime(CLOCK_MONOTONIC, &end);
    const double seconds = (double)(end.tv_sec - start.tv_sec) + (double)(end.tv_nsec - start.tv_nsec) / 1e9;
    printf("%.2f\n", seconds / (double)acts * 1e6);
    return 0;
}

static int backing;

/* The inode of file N is N + 2; 1 is that of the root. */
static void backing_name(fuse_ino_t inode, char* name, size_t size) {
    snprintf(name, size, "%ld", (long)inode - 2);
}

static void fill(fuse_ino_t inode, struct stat* attributes) {
    memset(attributes, 0, sizeof *attributes);
    attributes->st_ino = inode;
    attributes->st_mode = inode == FUSE_ROOT_ID ? S_IFDIR | 0755 : S_IFREG | 0644;
    attributes->st_nlink = 1;
    attributes->st_size = 4096;
}

static void look_up(fuse_req_t request, fuse_ino_t parent, const char* name) {
    struct fuse_entry_param entry;
    struct stat there;
    (void)parent;
    if (fstatat(backing, name, &there, 0) != 0) {
        fuse_reply_err(request, errno);
        return;
    }
    memset(&entry, 0, sizeof entry);
    entry.ino = (fuse_ino_t)strtol(name, NULL, 10) + 2;
    entry.attr_timeout = entry.entry_timeout = 3600;
    fill(entry.ino, &entry.attr);
    fuse_reply_entry(request, &entry);
}

static void get_attributes(fuse_req_t request, fuse_ino_t inode, struct fuse_file_info* info) {
    struct stat attributes;
    (void)info;
    fill(inode, &attributes);
    fuse_reply_attr(request, &attributes, 3600);
}

static void open_file(fuse_req_t request, fuse_ino_t inode, struct fuse_file_info* info) {
    char name[32];
    backing_name(inode, name, sizeof name);
    const int file = openat(backing, name, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        fuse_reply_err(request, errno);
        return;
    }
    info->fh = (uint64_t)file;
    info->direct_io = 1;
    fuse_reply_open(request, info);
}

static void read_file(fuse_req_t request, fuse_ino_t inode, size_t size, off_t offset, struct fuse_file_info* info) {
    char text[4096];
    (void)inode;
    const ssize_t length = pread((int)info->fh, text, size < sizeof text ? size : sizeof text, offset);
    if (length < 0) {
        fuse_reply_err(request, errno);
    } else {
        fuse_reply_buf(request, text, (size_t)length);
    }
}

static void flush_file(fuse_req_t request, fuse_ino_t inode, struct fuse_file_info* info) {
    (void)inode;
    (void)info;
    fuse_reply_err(request, 0);
}

static void release_file(fuse_req_t request, fuse_ino_t inode, struct fuse_file_info* info) {
    (void)inode;
    close((int)info->fh);
    fuse_reply_err(request, 0);
}

static void start(void* data, struct fuse_conn_info* connection) {
    (void)data;
    /* As the virtual device does. */
    connection->want &= ~(unsigned)FUSE_CAP_SPLICE_READ;
}

static int serve(char* program, const char* from, const char* place) {
    char* words[] = {program, NULL};
    struct fuse_args arguments = FUSE_ARGS_INIT(1, words);
    struct fuse_lowlevel_ops operations;
    memset(&operations, 0, sizeof operations);
    operations.init = start;
    operations.lookup = look_up;
    operations.getattr = get_attributes;
    operations.open = open_file;
    operations.read = read_file;
    operations.flush = flush_file;
    operations.release = release_file;
    backing = open(from, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct fuse_session* session = fuse_session_new(&arguments, &operations, sizeof operations, NULL);
    if (backing < 0 || session == NULL || fuse_session_mount(session, place) != 0) return 1;
    const int result = fuse_session_loop(session);
    fuse_session_unmount(session);
    fuse_session_destroy(session);
    return result == 0 ? 0 : 1;
}

int main(int count, char** words) {
    if (count == 4 && strcmp(words[1], "serve") == 0) return serve(words[0], words[2], words[3]);
    if (count != 6 || strcmp(words[1], "read") != 0) return 2;
    threads = atol(words[2]);
    acts = atol(words[3]);
    directory = words[4];
    files = atol(words[5]);
    return read_all();
}
