#include "api/pipeline.h"
#include "base/CpuLevel.h"

const char* kxp_version(void) {
  return KXCMS_VERSION;
}

const char* kxp_level(void) {
  return ICC40::NameOf(ICC40::ChosenCpuLevel());
}

const char* kxp_status_text(kxp_status status) {
  switch (status) {
    case KXP_OK:
      return "no error";
    case KXP_ERROR_ARGUMENT:
      return "wrong argument";
    case KXP_ERROR_MEMORY:
      return "not enough memory";
    case KXP_ERROR_FILE:
      return "file cannot be read";
    case KXP_ERROR_DAMAGED:
      return "damaged profile";
    case KXP_ERROR_UNSUPPORTED:
      return "unsupported profile";
    case KXP_CANCELLED:
      return "cancelled";
  }
  return "unknown status";
}
