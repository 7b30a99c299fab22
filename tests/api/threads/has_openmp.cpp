#include <omp.h>
// Whether a compiler has OpenMP at hand.
int main() {
  return omp_get_max_threads() > 0 ? 0 : 1;
}
