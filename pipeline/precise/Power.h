#ifndef KXCMS_PIPELINE_PRECISE_POWER_H
#define KXCMS_PIPELINE_PRECISE_POWER_H

namespace kxcms {

/// x to the power of y, for x > 0 and finite y, to a relative error of 1e-13 where |y log2 x| is
/// below 256. Made of additions, multiplications and divisions alone: the same bits on every
/// machine, which no maths library promises. Results are limited to 2^-1022 and 2^1022.
double Power(double x, double y);

}  // namespace kxcms

#endif
