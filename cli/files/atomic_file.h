#pragma once

#include <string>

namespace mirvo_cli {

// An output file that appears under its name only when complete: everything
// is written to a temporary file in the target's directory, which Commit()
// flushes to disk and renames over the target. Until then an earlier file of
// that name stays untouched; an uncommitted temporary is removed, also when
// a signal ends the program (see pending_files.h). The target must be absent
// or a regular file (see CheckOutputTarget).
class AtomicOutput {
 public:
  // Throws DataError when the target is not a regular file or no file can
  // be created in its directory.
  explicit AtomicOutput(std::string target);
  ~AtomicOutput();
  AtomicOutput(const AtomicOutput&) = delete;
  AtomicOutput& operator=(const AtomicOutput&) = delete;

  const std::string& target() const { return target_; }
  // Path to hand to writers that open files themselves.
  const std::string& temp_path() const { return temp_path_; }

  // Writes `data` to the temporary file (replacing what it holds).
  void Write(const std::string& data);
  // Makes the temporary file durable and renames it over the target.
  // Throws DataError on any failure (the target is then left as it was).
  void Commit();

 private:
  std::string target_;
  std::string temp_path_;
  int slot_ = -1;  // in the table of pending files
  bool committed_ = false;
};

// Whether Commit() waits for the data to reach the disk (default on).
void SetDurableWrites(bool on);

// One-shot helper for content built in memory.
void WriteFileAtomically(const std::string& target, const std::string& data);

// Creates `dir` and missing parents; throws DataError naming the directory.
void MakeDirectories(const std::string& dir);

}  // namespace mirvo_cli
