// A program made elsewhere, as far as the library can tell: own declarations, own field names, own
// subclasses and hooks. It prints one line per failed check.

#include "checks.h"

int main() {
  CheckProfileClasses();
  CheckTables();
  CheckColorTables();
  CheckColorMath();
  CheckTiff();
  CheckEngine();
  CheckInterface();
  if (client::failures != 0) {
    std::cerr << client::failures << " checks failed\n";
    return 1;
  }
  return 0;
}
