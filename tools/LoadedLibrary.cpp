#include "tools/LoadedLibrary.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include "api/pipeline.h"
#include "tools/Sha256.h"

std::string LoadedLibrarySha256() {
  Dl_info library = {};
  if (dladdr(reinterpret_cast<void*>(&kxp_version), &library) == 0) return {};
  const int fd = open(library.dli_fname, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return {};
  const std::string digest = Sha256OfFile(fd);
  close(fd);
  return digest;
}
