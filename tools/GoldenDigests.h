#ifndef KXCMS_TOOLS_GOLDENDIGESTS_H
#define KXCMS_TOOLS_GOLDENDIGESTS_H

/// The text of tests/golden/digests.txt.
extern const char kGoldenDigests[];

#endif
