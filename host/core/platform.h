// What the host asks of the operating system, in one place: loading a
// module and looking up its symbols (with the loader's own error text),
// finding the module that holds an address, and whether a stream is a
// terminal. Everything else in the host is plain C++.
#pragma once

#include <cstdio>
#include <string>

namespace tavo::host::platform {

// The file name ending of a loadable module here: ".so" or ".dll".
extern const char *const kModuleSuffix;

// Loads a module with its own symbols kept out of the global scope; its
// dependencies are found beside it. Null on failure, with the loader's
// reason in `why`.
void *load_module(const std::string &path, std::string &why);

// The address of a symbol of a loaded module; null when it has none.
void *find_symbol(void *module, const char *name);

// The handle and the file of the loaded module that contains `address`
// (null / empty when no module does). The handle is the one a shader
// library's miSetModuleHandle expects.
void *module_containing(const void *address);
std::string module_file(const void *address);

// The running program's own file.
std::string executable_file();

// Writes the stream's bytes as they are: no line-end translation, so that
// a program's output is the same file on every platform.
void set_binary(std::FILE *stream);

// Whether the stream writes to a terminal.
bool is_terminal(std::FILE *stream);

}  // namespace tavo::host::platform
