#pragma once

#include <sys/resource.h>

#include <csignal>

/// While it lives, no file of this process can grow beyond that length; who tries meets an error.
class FileLimit {
  public:
    explicit FileLimit(rlim_t longest) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        rlimit limit = before_;
        limit.rlim_cur = longest;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileLimit(const FileLimit&) = delete;
    FileLimit& operator=(const FileLimit&) = delete;
    ~FileLimit() { setrlimit(RLIMIT_FSIZE, &before_); }

  private:
    rlimit before_{};
};
