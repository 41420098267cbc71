#include "program.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "support/temp_file.h"

namespace velorix_test {
namespace {

class FileActions {
  public:
    FileActions() { posix_spawn_file_actions_init(&actions_); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    void open(int fd, const std::string& path, int flags) {
        posix_spawn_file_actions_addopen(&actions_, fd, path.c_str(), flags, 0600);
    }
    void close(int fd) { posix_spawn_file_actions_addclose(&actions_, fd); }
    void copy(int from, int to) { posix_spawn_file_actions_adddup2(&actions_, from, to); }
    void enter(const std::string& folder) {
        posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str());
    }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

/// The write end of a pipe that nobody reads.
class DeadPipe {
  public:
    DeadPipe() {
        if (pipe2(ends_, O_CLOEXEC) < 0) throw std::runtime_error("cannot make a pipe");
        close(ends_[0]);
    }
    ~DeadPipe() { close(ends_[1]); }
    DeadPipe(const DeadPipe&) = delete;
    DeadPipe& operator=(const DeadPipe&) = delete;
    int fd() const { return ends_[1]; }

  private:
    int ends_[2];
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& text : texts) list.push_back(text.data());
    list.push_back(nullptr);
    return list;
}

std::vector<std::string> whole_environment(const Command& command) {
    std::vector<std::string> all = command.environment;
    for (char** entry = environ; *entry; ++entry) all.emplace_back(*entry);
    return all;
}

int wait_for(pid_t process) {
    int status = 0;
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

void direct_output(FileActions& actions, const Command& command, const std::string& file,
                   const DeadPipe& dead) {
    const int fd = STDOUT_FILENO;
    if (command.output == Output::collected) actions.open(fd, file, O_WRONLY | O_CREAT);
    if (command.output == Output::full_device) actions.open(fd, "/dev/full", O_WRONLY);
    if (command.output == Output::pipe_without_reader) actions.copy(dead.fd(), fd);
    if (command.output == Output::closed) actions.close(fd);
}

}  // namespace

Finished run(const Command& command) {
    const TempFolder files;
    const std::string input = files.write("in", command.input);
    const std::string out = files.write("out", "");
    const std::string err = files.write("err", "");
    const DeadPipe dead;
    FileActions actions;
    actions.open(STDIN_FILENO, input, O_RDONLY);
    direct_output(actions, command, out, dead);
    actions.open(STDERR_FILENO, err, O_WRONLY);
    actions.enter(command.folder.string());

    std::vector<std::string> words = command.words;
    std::vector<std::string> environment = whole_environment(command);
    const std::string program = std::string(VELORIX_BIN_DIR "/") + words.at(0);
    pid_t process = 0;
    if (posix_spawn(&process, program.c_str(), actions.get(), nullptr, pointers(words).data(),
                    pointers(environment).data()) != 0) {
        throw std::runtime_error("cannot run " + program);
    }
    const int status = wait_for(process);
    return {status, read_file(out), read_file(err)};
}

}  // namespace velorix_test
