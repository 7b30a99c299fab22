/* Converts a few pixels with the C interface and prints what became of them.
   usage: convert_buffer PROFILE.icc */
#include <stdio.h>

/* README begin */
#include <kxcms/kxcms.h>
#include <string.h>

/* Selects a device profile for 8-bit sRGB. Returns 0, or -1 if the profile cannot be used. */
static int SelectProfile(const char* path) {
  unsigned char device[3] = {0, 0, 0}, fromBlack[3] = {0, 0, 0}, fromWhite[3] = {255, 255, 255};
  if (KX_Icc_SetProfile(path, NULL, KX_INTENT_PERCEPTUAL, KX_COLOR_RGB, KX_COLOR_SRGB) ==
      KX_RESULT_NOT_SET) {
    return -1;
  }
  /* Without a usable lookup table a conversion reports success and touches nothing. */
  KX_Icc_Convert2(device, fromBlack, 1);
  KX_Icc_Convert2(device, fromWhite, 1);
  return memcmp(fromBlack, fromWhite, sizeof fromBlack) == 0 ? 0 : -1;
}

/* Converts pixels of three 8-bit samples, in place. Returns 0, or -1 without a profile. */
static int Convert(unsigned char* pixels, int pixelCount) {
  return KX_Icc_Convert2(pixels, pixels, pixelCount) == KX_RESULT_OK ? 0 : -1;
}
/* README end */

int main(int argc, char** argv) {
  static const unsigned char scan[4][3] = {
      {255, 255, 255}, {192, 64, 64}, {128, 128, 128}, {0, 0, 0}};
  unsigned char pixels[4][3];
  int i;

  if (argc != 2) {
    fprintf(stderr, "usage: convert_buffer PROFILE.icc\n");
    return 2;
  }
  if (SelectProfile(argv[1]) != 0) {
    fprintf(stderr, "%s: cannot be used\n", argv[1]);
    return 1;
  }
  memcpy(pixels, scan, sizeof pixels);
  if (Convert(pixels[0], 4) != 0) {
    fprintf(stderr, "the conversion failed\n");
    return 1;
  }
  for (i = 0; i < 4; ++i) {
    printf("device %3d %3d %3d   sRGB %3d %3d %3d\n", scan[i][0], scan[i][1], scan[i][2],
           pixels[i][0], pixels[i][1], pixels[i][2]);
  }
  return 0;
}
