/* A C99 program that knows the library by its plain C header alone: every function once, on engines
   that were never set up. Returns the number of failed rows. */

#include "interface/kxcms.h"

#include <stddef.h>
#include <stdio.h>

static int failures = 0;

static void Expect(const char* what, int actual, int expected) {
  if (actual == expected) return;
  fprintf(stderr, "%s: expected %d, got %d\n", what, expected, actual);
  ++failures;
}

int main(void) {
  static const char kNoFile[] = "/nonexistent/folder/scan.icc";
  unsigned char src[6] = {1, 2, 3, 4, 5, 6};
  unsigned char dst[6] = {9, 9, 9, 9, 9, 9};
  unsigned char curve[2] = {0, 255};
  int i;

  /* Engines as they come. */
  Expect("Initial", KX_Icc_Initial(0), KX_RESULT_NOT_SET);
  Expect("DeleteWorkingBuf", KX_Icc_DeleteWorkingBuf(), KX_RESULT_NOT_SET);
  Expect("Convert", KX_Icc_Convert(src, dst, 2), KX_RESULT_FAIL);
  Expect("Convert2", KX_Icc_Convert2(src, dst, 2), KX_RESULT_FAIL);
  Expect("Convert2_2nd", KX_Icc_Convert2_2nd(src, dst, 2), KX_RESULT_FAIL);
  Expect("Convert2_3rd", KX_Icc_Convert2_3rd(src, dst, 2), KX_RESULT_FAIL);
  Expect("ConvertFile", KX_Icc_ConvertFile(kNoFile, kNoFile), KX_RESULT_NOT_SET);
  Expect("ConvertFile_2nd", KX_Icc_ConvertFile_2nd(kNoFile, kNoFile), KX_RESULT_NOT_SET);
  Expect("ConvertFile_3rd", KX_Icc_ConvertFile_3rd(NULL, NULL), KX_RESULT_NOT_SET);
  Expect("Adjust", KX_Icc_Adjust(curve, curve, curve, 2, 1.0, 2.0, 3.0), KX_RESULT_NOT_SET);
  Expect("Adjust_2nd", KX_Icc_Adjust_2nd(curve, curve, curve, 2, 1.0, 2.0, 3.0), KX_RESULT_NOT_SET);
  Expect("Adjust_3rd", KX_Icc_Adjust_3rd(NULL, NULL, NULL, 0, 0.0, 0.0, 0.0), KX_RESULT_NOT_SET);

  /* A profile that is not there. */
  Expect("SetProfile",
         KX_Icc_SetProfile(kNoFile, NULL, KX_INTENT_PERCEPTUAL, KX_COLOR_NONE, KX_COLOR_SRGB),
         KX_RESULT_NOT_SET);
  Expect("SetProfile_2nd",
         KX_Icc_SetProfile_2nd(kNoFile, NULL, KX_INTENT_RELATIVE, KX_COLOR_RGB, KX_COLOR_ADOBE),
         KX_RESULT_NOT_SET);
  Expect("SetProfile_3rd",
         KX_Icc_SetProfile_3rd(NULL, NULL, KX_INTENT_ABSOLUTE, KX_COLOR_RGB_16, KX_COLOR_SRGB_16),
         KX_RESULT_NOT_SET);
  Expect("SetProfileF",
         KX_Icc_SetProfileF(kNoFile, NULL, KX_INTENT_SATURATION, KX_COLOR_RGB, KX_COLOR_APPLE),
         KX_RESULT_NOT_SET);
  Expect("Convert2 after a failed selection", KX_Icc_Convert2(src, dst, 2), KX_RESULT_FAIL);

  /* The codes are stored even without a profile; conversions then have nothing to do. */
  Expect("SetIntent", KX_Icc_SetIntent(KX_INTENT_RELATIVE, KX_COLOR_NONE, KX_COLOR_SRGB),
         KX_COLOR_SRGB);
  Expect("SetIntent_2nd", KX_Icc_SetIntent_2nd(KX_INTENT_RELATIVE, KX_COLOR_RGB, KX_COLOR_APPLE),
         KX_COLOR_APPLE);
  Expect("SetIntent_3rd", KX_Icc_SetIntent_3rd(KX_INTENT_RELATIVE, KX_COLOR_RGB, KX_COLOR_ADOBE),
         KX_COLOR_ADOBE);
  Expect("Convert2 without tables", KX_Icc_Convert2(src, dst, 2), KX_RESULT_OK);
  Expect("Initial of a set engine", KX_Icc_Initial(1), KX_RESULT_UNUSED);
  Expect("DeleteWorkingBuf of a set engine", KX_Icc_DeleteWorkingBuf(), KX_RESULT_NOT_SET);
  for (i = 0; i < 6; ++i) Expect("destination untouched", dst[i], 9);
  for (i = 0; i < 6; ++i) Expect("source untouched", src[i], i + 1);

  /* The hooks' stubs. */
  Expect("ConfigFile", ConfigFile("a"), 0);
  Expect("ConfigFile2", ConfigFile2("a"), 0);
  Expect("ConfigGetInt", ConfigGetInt("Icc", "OutputColor", 12), 0);
  Expect("ConfigGetInt2", ConfigGetInt2("Icc", "OutputColor", 12), 0);
  Expect("ConfigGetString", ConfigGetString("Icc", "key", "default") == NULL, 1);
  Expect("ConfigGetString2", ConfigGetString2("Icc", "key", "default") == NULL, 1);
  Expect("ConfigSetInt", ConfigSetInt("Icc", "key", 1), 0);
  Expect("ConfigSetInt2", ConfigSetInt2("Icc", "key", 1), 0);
  Expect("ConfigSetString", ConfigSetString("Icc", "key", "value"), 0);
  Expect("ConfigSetString2", ConfigSetString2("Icc", "key", "value"), 0);

  return failures;
}
