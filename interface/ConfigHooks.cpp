// The hooks' stubs and nothing else. An application replaces them by defining the same names, so
// that no caller may stand in this file, where the compiler could bind the calls to the stubs.

#include "interface/kxcms.h"

int ConfigFile(const char*) {
  return 0;
}
int ConfigGetInt(const char*, const char*, int) {
  return 0;
}
const char* ConfigGetString(const char*, const char*, const char*) {
  return nullptr;
}
int ConfigSetInt(const char*, const char*, int) {
  return 0;
}
int ConfigSetString(const char*, const char*, const char*) {
  return 0;
}

int ConfigFile2(const char*) {
  return 0;
}
int ConfigGetInt2(const char*, const char*, int) {
  return 0;
}
const char* ConfigGetString2(const char*, const char*, const char*) {
  return nullptr;
}
int ConfigSetInt2(const char*, const char*, int) {
  return 0;
}
int ConfigSetString2(const char*, const char*, const char*) {
  return 0;
}
