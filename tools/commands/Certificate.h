#ifndef KXCMS_TOOLS_COMMANDS_CERTIFICATE_H
#define KXCMS_TOOLS_COMMANDS_CERTIFICATE_H

#include <cstdint>
#include <string>

#include "tools/Refusal.h"
#include "tools/commands/CommandLine.h"

struct CertificateRequest {
  std::string profile;
  std::string to = "srgb";  ///< built-in space, or file of a profile
  std::string intent = "perceptual";
  bool blackPointCompensation = false;
  std::string pipeline = "precise";
  std::int64_t sample = 0;  ///< colours of 16 bits; 0: all colours of 8 bits
  std::string text;         ///< file; empty: standard output, if there is no `json` either
  std::string json;         ///< file; empty: none
  std::string verify;       ///< certificate to check; empty: one is made
};

/// Declares `certificate` and its options.
CLI::App* AddCertificate(CLI::App& app, CertificateRequest& request);

/// Measures how far the results of a conversion are from its evaluation in double precision, and
/// writes that down; or does so again for a certificate, and prints what is different. Refuses what
/// cannot be converted.
/// @return WouldBeWrong if a certificate does not hold
Exit Certificate(const CertificateRequest& request);

#endif
