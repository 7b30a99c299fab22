#ifndef KXCMS_TOOLS_QUICKSELFTEST_H
#define KXCMS_TOOLS_QUICKSELFTEST_H

/// Converts some thousand colours by libKXPipeline, as the command does, from three profiles
/// that it makes to two spaces, and compares the digest of the results with the one built in,
/// which is that of every machine and level. Takes some hundredths of a second. Refuses with
/// `Exit::WouldBeWrong` if it is another one.
/// @param isFixed  by the bits of libKXCMS; otherwise the precise pipeline
void RequireQuickSelfTest(bool isFixed);

#endif
