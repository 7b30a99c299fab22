#ifndef KXCMS_TESTS_FAULTS_FAULTINJECTION_H
#define KXCMS_TESTS_FAULTS_FAULTINJECTION_H

// Makes calls of the C++ allocator, of the C streams and of pread and pwrite (which count as fread
// and fwrite) fail on purpose. The functions are defined
// in the test program; the shared library finds these before the system's.

namespace faults {

enum class Call { kAllocation, kOpen, kRead, kWrite, kSeek, kTell, kClose, kFlush };
const char* NameOf(Call call);

/// One call that fails, or that call and all later ones: memory comes back, a broken disk does not.
enum class Reach { kOnce, kFromThenOn };

/// While it lives, the `nth` call of a kind fails, counted from 1 over all threads. The diagnostic
/// lines' streams never fail. One object at a time.
class Injection {
 public:
  Injection(Call call, long nth, Reach reach);
  ~Injection();
  Injection(const Injection&) = delete;
  Injection& operator=(const Injection&) = delete;

  /// Calls of the kind that were made, those that failed included.
  long Calls() const;
  /// The most bytes that a single allocation asked for.
  long LargestBytes() const;
  /// Whether a call has failed.
  bool Struck() const { return Calls() >= nth_; }

 private:
  long nth_;
};

}  // namespace faults

#endif
