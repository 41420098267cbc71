#include "program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace velorix_test {
namespace {

/// In the program's process: an open file becomes one of its standard streams.
void redirect(int stream, int file) {
    if (file < 0 || dup2(file, stream) < 0) _exit(126);
}

void redirect_output(Output output, const std::string& path) {
    const char* file = output == Output::full_device ? "/dev/full" : path.c_str();
    int ends[2] = {-1, -1};
    if (output == Output::closed) {
        close(STDOUT_FILENO);
    } else if (output == Output::pipe_without_reader) {
        if (pipe2(ends, O_CLOEXEC) == 0) close(ends[0]);
        redirect(STDOUT_FILENO, ends[1]);
    } else {
        redirect(STDOUT_FILENO, open(file, O_WRONLY | O_CLOEXEC));
    }
}

}  // namespace

Running::Running(Command command) {
    const std::string program = VELORIX_BIN_DIR "/" + command.words.at(0);
    const std::string in = files_.write("in", command.input);
    const std::string out = files_.write("out", "");
    std::vector<char*> words;
    for (std::string& word : command.words) words.push_back(word.data());
    words.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) < 0) throw std::runtime_error("cannot make a pipe");
    // So small a pipe makes the program wait until its lines are read.
    fcntl(ends[1], F_SETPIPE_SZ, 4096);
    process_ = fork();
    if (process_ < 0) throw std::runtime_error("cannot run " + program);
    if (process_ == 0) {
        for (std::string& entry : command.environment) putenv(entry.data());
        redirect(STDIN_FILENO, open(in.c_str(), O_RDONLY | O_CLOEXEC));
        redirect_output(command.output, out);
        redirect(STDERR_FILENO, ends[1]);
        if (chdir(command.folder.c_str()) == 0) execv(program.c_str(), words.data());
        _exit(126);
    }
    close(ends[1]);
    err_ = ends[0];
}

Running::~Running() { close(err_); }

bool Running::read_more() {
    char buffer[256];
    const ssize_t n = read(err_, buffer, sizeof buffer);
    if (n > 0) text_.append(buffer, static_cast<size_t>(n));
    return n > 0;
}

const std::string& Running::read_until(const std::string& wanted) {
    while (text_.find(wanted) == text_.npos && read_more()) continue;
    return text_;
}

void Running::signal(int number) const { kill(process_, number); }

Finished Running::finish() {
    while (read_more()) continue;
    int status = 0;
    waitpid(process_, &status, 0);
    status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    return {status, read_file(files_.path("out")), text_};
}

}  // namespace velorix_test
