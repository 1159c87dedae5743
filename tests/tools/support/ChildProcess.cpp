#include "ChildProcess.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace quil {
namespace test {

namespace {

std::vector<std::string> MergedEnvironment(const std::map<std::string, std::string>& extra) {
    std::vector<std::string> merged;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('='));
        if (extra.count(name) == 0) {
            merged.push_back(text);
        }
    }
    for (const auto& variable : extra) {
        if (!variable.second.empty()) {
            merged.push_back(variable.first + "=" + variable.second);
        }
    }
    return merged;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(&text[0]);
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

ChildResult RunChild(const std::string& program, const std::vector<std::string>& args,
                     const std::map<std::string, std::string>& environment,
                     std::chrono::seconds limit) {
    ChildResult result;
    int outPipe[2];
    int errPipe[2];
    if (pipe(outPipe) != 0) {
        return result;
    }
    if (pipe(errPipe) != 0) {
        close(outPipe[0]);
        close(outPipe[1]);
        return result;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, outPipe[0]);
    posix_spawn_file_actions_addclose(&actions, errPipe[0]);
    posix_spawn_file_actions_adddup2(&actions, outPipe[1], 1);
    posix_spawn_file_actions_adddup2(&actions, errPipe[1], 2);
    posix_spawn_file_actions_addclose(&actions, outPipe[1]);
    posix_spawn_file_actions_addclose(&actions, errPipe[1]);

    std::vector<std::string> argTexts;
    argTexts.push_back(program);
    argTexts.insert(argTexts.end(), args.begin(), args.end());
    std::vector<char*> argv = Pointers(argTexts);
    std::vector<std::string> envTexts = MergedEnvironment(environment);
    std::vector<char*> envp = Pointers(envTexts);

    pid_t pid = 0;
    const int spawned =
        posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(outPipe[1]);
    close(errPipe[1]);
    if (spawned != 0) {
        close(outPipe[0]);
        close(errPipe[0]);
        return result;
    }
    result.started = true;

    // Read both pipes until both close or the limit passes.
    const auto deadline = std::chrono::steady_clock::now() + limit;
    pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    int open = 2;
    bool overstayed = false;
    while (open > 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            overstayed = true;
            break;
        }
        const int ready = poll(fds, 2, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            continue;
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) {
                continue;
            }
            char buffer[4096];
            const ssize_t got = read(fds[i].fd, buffer, sizeof(buffer));
            if (got > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(got));
            } else if (got == 0 || errno != EINTR) {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    if (overstayed) {
        kill(pid, SIGKILL);
    }
    for (pollfd& fd : fds) {
        if (fd.fd >= 0) {
            close(fd.fd);
        }
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!overstayed && WIFEXITED(status)) {
        result.finished = true;
        result.exitCode = WEXITSTATUS(status);
    }
    return result;
}

}  // namespace test
}  // namespace quil
