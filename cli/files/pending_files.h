#pragma once

#include <string>

namespace mirvo_cli {

// Temporary files must not outlive the program, even when a signal ends it.
// Their names are kept in a fixed table that a signal handler can read
// without allocating or locking; on SIGINT, SIGTERM or SIGHUP it
// removes every file in the table, then lets the signal take its default
// action, so the exit status still tells how the program ended.

// Installs the handler for each of those signals that is not ignored (a
// signal ignored by the parent, as nohup does, stays ignored).
void RemoveTemporariesOnSignals();

// Enters `path` in the table, then creates it as a new file (0666 less the
// umask) and returns its open descriptor, with its table slot in `slot`.
// On failure returns -1 with errno set (EEXIST: the name is taken; EMFILE:
// the table is full) and leaves nothing in the table.
int CreatePendingFile(const std::string& path, int* slot);

// Takes a file out of the table once it has been renamed or removed.
void ForgetPendingFile(int slot);

}  // namespace mirvo_cli
