#include "FailingCalls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <type_traits>
#include <utility>

constinit bool FailingCalls::isUsed = false;
thread_local FailingCalls calls;

bool FailingCalls::fails(std::string_view call, int likeliest) {
    if (!isCounted || (!only.empty() && only != call)) return false;
    if (before) {
        isCounted = false;
        before(call);
        isCounted = true;
    }
    if (left > 1) {
        --left;
        return false;
    }
    if (left == 0 && (times == 0 || failed != call)) return false;
    left = 0;
    if (times != always) --times;
    failed = call;
    errno = error != 0 ? error : likeliest;
    return true;
}

void FailingCalls::made(std::string_view call) {
    if (!isCounted || !after || (!only.empty() && only != call)) return;
    const int itsError = errno;
    isCounted = false;
    after(call);
    isCounted = true;
    errno = itsError;
}

namespace {

/// The function of that name that the program would have called.
template <class Function>
Function* real(const char* name) {
    void* const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) std::abort();
    return reinterpret_cast<Function*>(found);
}

/// Makes a call, or lets it fail and gives the answer `failure`.
template <class Result, class... Arguments>
Result make(const char* name, int likeliest, Result failure, Result (*function)(Arguments...),
            std::type_identity_t<Arguments>... arguments) {
    if (!FailingCalls::isUsed) return function(arguments...);
    if (calls.fails(name, likeliest)) return failure;
    const Result result = function(arguments...);
    calls.made(name);
    return result;
}

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): those of the system are
// reserved
extern "C" {

int open(const char* path, int flags, ...) {
    static auto* const function = real<int(const char*, int, mode_t)>("open");
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list rest;
        va_start(rest, flags);
        mode = va_arg(rest, mode_t);
        va_end(rest);
    }
    return make("open", EMFILE, -1, function, path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...) {
    static auto* const function = real<int(int, const char*, int, mode_t)>("openat");
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list rest;
        va_start(rest, flags);
        mode = va_arg(rest, mode_t);
        va_end(rest);
    }
    return make("openat", EMFILE, -1, function, directory, path, flags, mode);
}

int mkdir(const char* path, mode_t mode) noexcept {
    static auto* const function = real<int(const char*, mode_t)>("mkdir");
    return make("mkdir", EACCES, -1, function, path, mode);
}

int stat(const char* path, struct stat* status) noexcept {
    static auto* const function = real<int(const char*, struct stat*)>("stat");
    return make("stat", EIO, -1, function, path, status);
}

int fstat(int file, struct stat* status) noexcept {
    static auto* const function = real<int(int, struct stat*)>("fstat");
    return make("fstat", EIO, -1, function, file, status);
}

int fstatat(int directory, const char* path, struct stat* status, int flags) noexcept {
    static auto* const function = real<int(int, const char*, struct stat*, int)>("fstatat");
    return make("fstatat", EIO, -1, function, directory, path, status, flags);
}

int fchmod(int file, mode_t mode) noexcept {
    static auto* const function = real<int(int, mode_t)>("fchmod");
    return make("fchmod", EPERM, -1, function, file, mode);
}

int fchown(int file, uid_t owner, gid_t group) noexcept {
    static auto* const function = real<int(int, uid_t, gid_t)>("fchown");
    return make("fchown", EPERM, -1, function, file, owner, group);
}

int fcntl(int file, int command, ...) {
    static auto* const function = real<int(int, int, void*)>("fcntl");
    va_list rest;
    va_start(rest, command);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    return make("fcntl", ENOLCK, -1, function, file, command, argument);
}

int unlinkat(int directory, const char* path, int flags) noexcept {
    static auto* const function = real<int(int, const char*, int)>("unlinkat");
    return make("unlinkat", EACCES, -1, function, directory, path, flags);
}

int renameat(int oldDirectory, const char* oldPath, int directory, const char* path) noexcept {
    static auto* const function = real<int(int, const char*, int, const char*)>("renameat");
    return make("renameat", EACCES, -1, function, oldDirectory, oldPath, directory, path);
}

ssize_t read(int file, void* bytes, size_t count) {
    static auto* const function = real<ssize_t(int, void*, size_t)>("read");
    return make("read", EIO, ssize_t{-1}, function, file, bytes, count);
}

ssize_t write(int file, const void* bytes, size_t count) {
    static auto* const function = real<ssize_t(int, const void*, size_t)>("write");
    return make("write", EIO, ssize_t{-1}, function, file, bytes, count);
}

int rename(const char* from, const char* to) noexcept {
    static auto* const function = real<int(const char*, const char*)>("rename");
    return make("rename", EACCES, -1, function, from, to);
}

ssize_t pread(int file, void* bytes, size_t count, off_t offset) {
    static auto* const function = real<ssize_t(int, void*, size_t, off_t)>("pread");
    return make("pread", EIO, ssize_t{-1}, function, file, bytes, count, offset);
}

ssize_t pwrite(int file, const void* bytes, size_t count, off_t offset) {
    static auto* const function = real<ssize_t(int, const void*, size_t, off_t)>("pwrite");
    return make("pwrite", ENOSPC, ssize_t{-1}, function, file, bytes, count, offset);
}

int ftruncate(int file, off_t length) noexcept {
    static auto* const function = real<int(int, off_t)>("ftruncate");
    return make("ftruncate", EIO, -1, function, file, length);
}

int fallocate(int file, int mode, off_t offset, off_t length) {
    static auto* const function = real<int(int, int, off_t, off_t)>("fallocate");
    return make("fallocate", ENOSPC, -1, function, file, mode, offset, length);
}

int posix_fallocate(int file, off_t offset, off_t length) {
    static auto* const function = real<int(int, off_t, off_t)>("posix_fallocate");
    if (!FailingCalls::isUsed) return function(file, offset, length);
    // It answers with the error.
    const int before = errno;
    if (calls.fails("posix_fallocate", ENOSPC)) return std::exchange(errno, before);
    const int result = function(file, offset, length);
    calls.made("posix_fallocate");
    return result;
}

void* mmap(void* address, size_t bytes, int protection, int flags, int file,
           off_t offset) noexcept {
    static auto* const function = real<void*(void*, size_t, int, int, int, off_t)>("mmap");
    return make("mmap", ENOMEM, MAP_FAILED, function, address, bytes, protection, flags, file,
                offset);
}

int madvise(void* address, size_t bytes, int advice) noexcept {
    static auto* const function = real<int(void*, size_t, int)>("madvise");
    return make("madvise", EINVAL, -1, function, address, bytes, advice);
}

int memfd_create(const char* name, unsigned flags) noexcept {
    static auto* const function = real<int(const char*, unsigned)>("memfd_create");
    return make("memfd_create", EMFILE, -1, function, name, flags);
}

int eventfd(unsigned value, int flags) noexcept {
    static auto* const function = real<int(unsigned, int)>("eventfd");
    return make("eventfd", EMFILE, -1, function, value, flags);
}

int getrlimit(__rlimit_resource_t resource, struct rlimit* limit) noexcept {
    static auto* const function = real<int(__rlimit_resource_t, struct rlimit*)>("getrlimit");
    return make("getrlimit", EINVAL, -1, function, resource, limit);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
