/* The least that a host in C does: sets a pulse, reports on it, and gets the words to send. */

#include <inttypes.h>
#include <stdio.h>

#include "tarvutil.h"

enum
{
    BUDGET = 101 /* words that the stimulator takes */
};

/* Sets a parameter and prints what is in effect when it is not what was asked. */
static void set(tarvutil_pattern *pulse, int32_t parameter, const char *name, double value)
{
    double in_effect = 0;
    if (tarvutil_pattern_set(pulse, parameter, value, 0, &in_effect) != TARVUTIL_OK) {
        char text[200] = "";
        tarvutil_pattern_error(pulse, text, (int32_t)sizeof text);
        printf("%s: %s\n", name, text);
    } else if (in_effect != value) {
        printf("%s: %g asked, %g in effect\n", name, value, in_effect);
    }
}

int main(void)
{
    char reason[200] = "";
    uint32_t words[BUDGET];
    int32_t count;
    int32_t i;
    tarvutil_pattern *pulse =
        tarvutil_pattern_new(TARVUTIL_LILLY, 33.333332f, 10.0f, 100.0f, BUDGET, reason, (int32_t)sizeof reason);
    if (pulse == NULL) {
        printf("%s\n", reason);
        return 1;
    }
    set(pulse, TARVUTIL_PHASE1_US, "phase 1", 200);
    set(pulse, TARVUTIL_IPI_US, "interphase interval", 100);
    set(pulse, TARVUTIL_PHASE1_UA, "amplitude", -60);
    set(pulse, TARVUTIL_BALANCE_MODE, "balance mode", 2); /* phase 2: half the current, twice the length */
    set(pulse, TARVUTIL_FREQUENCY_HZ, "frequency", 100);
    set(pulse, TARVUTIL_TRAIN_MS, "train", 1000);

    count = tarvutil_pattern_words(pulse, words, BUDGET);
    if (count < 0) { /* it does not fit the time steps or the budget: send nothing */
        tarvutil_pattern_error(pulse, reason, (int32_t)sizeof reason);
        printf("%s\n", reason);
    }
    for (i = 0; i < count; ++i) printf("0x%08" PRIX32 "\n", words[i]);
    tarvutil_pattern_free(pulse);
    return count < 0;
}
