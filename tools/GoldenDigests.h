#ifndef KXCMS_TOOLS_GOLDENDIGESTS_H
#define KXCMS_TOOLS_GOLDENDIGESTS_H

/// The text of corpus/digests.txt.
extern const char kGoldenDigests[];

#endif
