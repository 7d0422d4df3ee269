/* What the C interface makes of the lines of lives.py. */

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tarvutil.h"

enum
{
    BUDGET = 101,
    LINE = 65536
};

static void print_words(const uint32_t* words, int32_t count)
{
    int32_t i;
    if (count < 0) printf("refused");
    for (i = 0; i < count; ++i) printf("%s%08" PRIX32, i == 0 ? "" : " ", words[i]);
}

static void text(const char* step, const char* amp, const char* plain, const char* spec)
{
    uint32_t words[BUDGET] = {0};
    tarvutil_stimulator* stimulator = tarvutil_stimulator_new(NULL, 0);
    tarvutil_report* report;
    tarvutil_stimulator_set(stimulator, "time-step", -1, atof(step));
    tarvutil_stimulator_set(stimulator, "amp-step", -1, atof(amp));
    tarvutil_stimulator_set(stimulator, "pattern", -1, atof(plain));
    report = tarvutil_report_new(stimulator, spec, -1, 1, NULL, 0);
    print_words(words, tarvutil_report_words(report, words, BUDGET));
    tarvutil_report_free(report);
    tarvutil_stimulator_free(stimulator);
}

static int32_t parameter(const char* name)
{
    static const char* names[] = {"period_ms", "frequency_hz", "train_ms",  "cycles",    "offset_ms", "ipi_us",
                                  "phase1_us", "phase2_us",    "phase1_ua", "phase2_ua", "polarity",  "balance_mode"};
    int32_t i;
    for (i = 0; i < 12; ++i)
        if (strcmp(names[i], name) == 0) return TARVUTIL_PERIOD_MS + i;
    return -1;
}

static void life(const char* step, const char* amp, char* edits)
{
    uint32_t words[BUDGET] = {0};
    const float amp_step = (float)atof(amp);
    tarvutil_pattern* pattern =
        tarvutil_pattern_new(TARVUTIL_LILLY, (float)atof(step), amp_step, 100 * amp_step, BUDGET, NULL, 0);
    char* item;
    const char* before = "";
    for (item = strtok(edits, ","); item != NULL; item = strtok(NULL, ",")) {
        char* value = strchr(item, '=');
        const int32_t extend = *item == '+';
        double effect = 0;
        *value++ = '\0';
        if (tarvutil_pattern_set(pattern, parameter(item + extend), atof(value), extend, &effect) != TARVUTIL_OK)
            printf("error");
        printf("%s%.9g ", before, effect);
        print_words(words, tarvutil_pattern_words(pattern, words, BUDGET));
        before = ";";
    }
    tarvutil_pattern_free(pattern);
}

int main(int count, char** arguments)
{
    static char line[LINE];
    FILE* file = count > 1 ? fopen(arguments[1], "r") : NULL;
    if (file == NULL) return 1;
    while (fgets(line, LINE, file) != NULL) {
        char* part[5] = {0};
        int i;
        line[strcspn(line, "\n")] = '\0';
        part[0] = line;
        for (i = 1; i < 5 && part[i - 1] != NULL; ++i) {
            part[i] = strchr(part[i - 1], '\t');
            if (part[i] != NULL) *part[i]++ = '\0';
        }
        if (strcmp(part[0], "text") == 0)
            text(part[1], part[2], part[3], part[4]);
        else
            life(part[1], part[2], part[3]);
        putchar('\n');
    }
    fclose(file);
    return 0;
}
