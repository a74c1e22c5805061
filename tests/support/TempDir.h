#pragma once

#include <string>

namespace testsupport {

// A fresh folder under $TMPDIR (or /tmp), removed with its content at the end.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return path; }
  std::string File(const std::string& name) const { return path + "/" + name; }

 private:
  std::string path;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

}  // namespace testsupport
