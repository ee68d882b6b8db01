// Shared helpers of the binding tests: the library and the two fake renderer
// modules loaded with dlopen, and a capture of what reaches file descriptor 2.
#pragma once

#include "fake_renderer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace bindingtest {

// tavoshaders.so, loaded once per process (RTLD_LOCAL: nothing of it leaks
// into the global scope where a lookup could find it by accident).
void *library();

// The address of an exported symbol of tavoshaders.so; fails the test when missing.
void *library_symbol(const char *name);

template <typename Fn>
Fn entry(const char *name)
{
    return reinterpret_cast<Fn>(library_symbol(name));
}

// The fake renderer modules (1 and 2), loaded once per process.
void *fake_module(int id);
FakeRecord *fake_record(int id);
void fake_reset(int id);

// Calls the library's miSetModuleHandle.
void set_module(void *handle);

// The two lines the resolver writes when `name` cannot be resolved.
std::string failure_text(const char *name, void *handle, int error);

// Everything written to file descriptor 2 between construction and finish().
class StderrCapture {
public:
    StderrCapture();
    ~StderrCapture();
    std::string finish();

private:
    int saved_ = -1;
    FILE *file_ = nullptr;
};

// One entry of entries.def.
struct ListedEntry {
    const char *name;
    bool exported;
    bool variadic;
};
const std::vector<ListedEntry> &listed_entries();

} // namespace bindingtest
