#include "log.h"

#include <pybind11/pybind11.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "platform/elog/elog.h"

namespace py = pybind11;

namespace velorix::python {
namespace {

thread_local LogScope* current = nullptr;

// Threads of a scan have no scope: the next call that ends takes their lines.
std::mutex stray_mutex;
std::string stray;

std::string take_stray() {
    const std::lock_guard lock(stray_mutex);
    return std::exchange(stray, {});
}

void hook(int severity, int flag, const char* message, void*) {
    const int error = errno;
    std::string line = message;
    while (!line.empty() && line.back() == '\n') line.pop_back();
    if (flag == 1 && line.ends_with('.')) line.pop_back();
    if (flag == 1) line += std::string(": ") + std::strerror(error);
    if (severity == ELOG_DIE) {
        std::fprintf(stderr, "velorix: %s\n", line.c_str());
    } else if (current) {
        current->take(severity, line);
    } else {
        const std::lock_guard lock(stray_mutex);
        stray += line + "\n";
    }
}

}  // namespace

void install_log() { elog_set_hook(hook, nullptr); }

LogScope::LogScope() : outer_(current) { current = this; }
LogScope::~LogScope() { current = outer_; }

void LogScope::take(int severity, const std::string& line) {
    lines_ += line + "\n";
    if (severity == ELOG_COMPLAIN) complaints_ += line + "\n";
}

Failure LogScope::failure(const char* otherwise) const {
    std::string text = lines_ + take_stray();
    if (!text.empty()) text.pop_back();
    return Failure(text.empty() ? otherwise : text);
}

void LogScope::warn() {
    std::string text = complaints_ + take_stray();
    complaints_.clear();
    if (text.empty()) return;
    const py::object category = py::module_::import("velorix._core").attr("VelorixWarning");
    for (size_t at = 0, end = 0; at < text.size(); at = end + 1) {
        end = text.find('\n', at);
        const py::bytes line(text.substr(at, end - at));
        if (PyErr_WarnEx(category.ptr(),
                         line.attr("decode")("utf-8", "replace").cast<std::string>().c_str(),
                         2) != 0)
            throw py::error_already_set();
    }
}

void Patience::check() {
    constexpr auto kPeriod = std::chrono::milliseconds(50);
    const auto now = Clock::now();
    if (now - last_ < kPeriod) return;
    last_ = now;
    const py::gil_scoped_acquire lock;
    if (PyErr_CheckSignals() != 0) throw Interrupted();
}

}  // namespace velorix::python
