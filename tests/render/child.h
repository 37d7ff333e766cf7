// Runs the render program as a child process.
#pragma once

#include "refusal.h"

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

struct outcome {
    int status; // -1 when a signal ended it
    std::string out, err;
    long memory; // the most that it took at one time, in kB
};

struct circumstances {
    long largest_file = 0;         // bytes; 0 for no limit
    int interrupted_after_ms = 0;  // 0 for not at all
    long interrupted_at_bytes = 0; // once its new files hold so much; 0 for not at all
    int interrupt = SIGTERM;
    std::vector<refusal> refused; // system calls
    std::string out;              // where standard output goes, in place of outcome::out
    bool terminal = false;        // standard error is a terminal
    bool deaf = false;            // standard error is a pipe that nobody reads
    bool closed = false;          // the standard streams are closed
    int ignored = 0;              // a signal that is ignored, as SIGHUP under nohup
};

/// In a folder, which relative names then start from.
outcome run_render(const std::filesystem::path &folder, const std::vector<std::string> &arguments,
                   const circumstances &around = {});
