/* Means of a picture's cells, six across and four down, compared with a list.
 *   picture_check FILE           writes the list
 *   picture_check FILE LIST      0 if the file is a PGM or PPM of that size whose means lie within 1.5 of the list
 * A few pixels at edges may differ from one processor to another; means of cells don't by so much. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { kAcross = 6, kDown = 4, kCells = kAcross * kDown };

typedef struct {
  int width, height, channels;
  double means[kCells][3];
} Facts;

static int readFacts(const char *path, Facts *facts) {
  FILE *file = fopen(path, "rb");
  if (!file) return 0;
  char kind;
  int largest, good = fscanf(file, "P%c %d %d %d", &kind, &facts->width, &facts->height, &largest) == 4;
  good = good && (kind == '5' || kind == '6') && largest == 255 && fgetc(file) == '\n';
  if (!good || facts->width < kAcross || facts->height < kDown) {
    fclose(file);
    return 0;
  }
  facts->channels = kind == '6' ? 3 : 1;
  long counts[kCells] = {0};
  for (int i = 0; i < kCells; ++i) facts->means[i][0] = facts->means[i][1] = facts->means[i][2] = 0;
  for (int y = 0; y < facts->height; ++y) {
    for (int x = 0; x < facts->width; ++x) {
      const int cell = y * kDown / facts->height * kAcross + x * kAcross / facts->width;
      for (int c = 0; c < facts->channels; ++c) {
        const int value = fgetc(file);
        if (value == EOF) good = 0;
        facts->means[cell][c] += value;
      }
      ++counts[cell];
    }
  }
  good = good && fgetc(file) == EOF;
  fclose(file);
  for (int i = 0; i < kCells; ++i) {
    for (int c = 0; c < 3; ++c) facts->means[i][c] /= (double)counts[i];
  }
  return good;
}

static int compare(const char *path, const Facts *facts) {
  FILE *list = fopen(path, "r");
  if (!list) return 0;
  Facts wanted;
  int good = fscanf(list, "%d %d %d", &wanted.width, &wanted.height, &wanted.channels) == 3 &&
             wanted.width == facts->width && wanted.height == facts->height &&
             wanted.channels == facts->channels;
  for (int i = 0; good && i < kCells; ++i) {
    for (int c = 0; good && c < facts->channels; ++c) {
      good = fscanf(list, "%lf", &wanted.means[i][c]) == 1;
      if (good && !(fabs(wanted.means[i][c] - facts->means[i][c]) <= 1.5)) {
        printf("cell %d, channel %d: %.1f instead of %.1f\n", i, c, facts->means[i][c], wanted.means[i][c]);
        good = 0;
      }
    }
  }
  fclose(list);
  return good;
}

int main(int argc, char **argv) {
  Facts facts;
  if (argc < 2 || !readFacts(argv[1], &facts)) {
    printf("no picture\n");
    return 1;
  }
  if (argc > 2) return compare(argv[2], &facts) ? 0 : 1;
  printf("%d %d %d\n", facts.width, facts.height, facts.channels);
  for (int i = 0; i < kCells; ++i) {
    for (int c = 0; c < facts.channels; ++c) printf("%s%.1f", c ? " " : "", facts.means[i][c]);
    printf("\n");
  }
  return 0;
}
