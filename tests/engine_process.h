// Runs the built engine as a user would: scripted standard input, captured standard output.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

struct EngineRun {
    std::string out;
    std::string err;
    int status = -1;  // exit status, or -1 when the process did not exit normally
};

// A fresh, empty working directory per call keeps any "ferrolune.ini" of the caller's choosing under control.
inline std::filesystem::path FreshWorkDir(const std::string& name) {
    auto dir = std::filesystem::temp_directory_path() / ("ferrolune_" + name + "_" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

inline EngineRun RunEngineWith(const std::string& input, const std::filesystem::path& workDir,
                               const std::string& args = "") {
    std::ofstream(workDir / "stdin.txt", std::ios::binary) << input;
    std::string cmd = "cd '" + workDir.string() + "' && '" FERROLUNE_BINARY "' " + args +
                      " < stdin.txt > stdout.txt 2> stderr.txt";
    int raw = std::system(cmd.c_str());
    EngineRun run;
    if (raw != -1 && WIFEXITED(raw)) run.status = WEXITSTATUS(raw);
    auto slurp = [&](const char* name) {
        std::ifstream in(workDir / name, std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    };
    run.out = slurp("stdout.txt");
    run.err = slurp("stderr.txt");
    return run;
}
