#include "WyvletSampleApp/MarkerFile.h"

#include <fcntl.h>
#include <unistd.h>

namespace wyvlet::sample {

MarkerFile::~MarkerFile() {
  if (!path_.empty()) ::unlink(path_.c_str());
}

void MarkerFile::ensure() const {
  if (path_.empty()) return;
  // In a directory that everyone may write to, a link left by someone else is not followed.
  const int file = ::open(path_.c_str(), O_CREAT | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (file >= 0) ::close(file);
}

}  // namespace wyvlet::sample
