/* The gateway of MATLAB and Octave to the C interface: one function, whose first argument names what to do. The functions
 * of the package tarvutil call it and explain it; nobody else should. Patterns stay here: outside they are numbers, of
 * which no number is used twice. An error is raised last, after everything was freed: raising it does not return. */
#include <float.h>
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "mex.h"
#include "tarvutil.h"

enum
{
    TEXT_ROOM = 1000,
    MOST_SAMPLES = 100000000
};

static char failure[TEXT_ROOM];
static const char* failure_id = NULL; /* of the error to raise; null when there is none */

static void fail(const char* id, const char* text)
{
    if (failure_id != NULL) return;
    failure_id = id;
    strncpy(failure, text, TEXT_ROOM - 1);
    failure[TEXT_ROOM - 1] = '\0';
}

static const char* id_of(int32_t code)
{
    switch (code) {
        case TARVUTIL_REFUSED:
            return "tarvutil:notPlayable";
        case TARVUTIL_NO_MEMORY:
            return "tarvutil:noMemory";
        case TARVUTIL_FAILED:
            return "tarvutil:failed";
        default:
            return "tarvutil:badArgument";
    }
}

/* --- Arguments --- */

static int number_of_arguments;
static const mxArray** arguments;

/* Argument i, from 0; null, and a failure, when it is not there. */
static const mxArray* argument(int i)
{
    if (i < number_of_arguments) return arguments[i];
    fail("tarvutil:badArgument", "an argument is missing");
    return NULL;
}

/* A text, to be freed with mxFree; null with a failure. */
static char* text_of(const mxArray* array, const char* what)
{
    char message[TEXT_ROOM];
    mwSize i;
    if (array != NULL && mxIsChar(array) && (mxGetM(array) == 1 || mxIsEmpty(array))) {
        const mxChar* letters = mxGetChars(array);
        for (i = 0; i < mxGetNumberOfElements(array); ++i) {
            if (letters[i] != 0) continue;
            snprintf(message, sizeof message, "%s: it contains a NUL", what);
            fail("tarvutil:badArgument", message);
            return NULL;
        }
        if (mxIsEmpty(array)) return (char*)mxCalloc(1, 1);
#ifdef TARVUTIL_OCTAVE
        return mxArrayToString(array);
#else
        return mxArrayToUTF8String(array);
#endif
    }
    snprintf(message, sizeof message, "%s: a row of characters is needed", what);
    fail("tarvutil:badArgument", message);
    return NULL;
}

static double number_of(const mxArray* array, const char* what)
{
    char message[TEXT_ROOM];
    if (array != NULL && (mxIsNumeric(array) || mxIsLogical(array)) && !mxIsComplex(array) &&
        !mxIsSparse(array) && mxGetNumberOfElements(array) == 1)
        return mxGetScalar(array);
    snprintf(message, sizeof message, "%s: a real number is needed", what);
    fail("tarvutil:badArgument", message);
    return NAN;
}

/* A number that is finite in single precision and above 0. */
static float above_zero_of(const mxArray* array, const char* what)
{
    char message[TEXT_ROOM];
    const float value = (float)number_of(array, what);
    if (value > 0 && value <= FLT_MAX) return value;
    snprintf(message, sizeof message, "%s: a finite number above 0 is needed", what);
    fail("tarvutil:badArgument", message);
    return 1;
}

static int64_t whole_of(const mxArray* array, const char* what)
{
    char message[TEXT_ROOM];
    const double value = number_of(array, what);
    if (value >= -9e15 && value <= 9e15 && value == floor(value)) return (int64_t)value;
    snprintf(message, sizeof message, "%s: a whole number is needed", what);
    fail("tarvutil:badArgument", message);
    return 0;
}

/* Words, which stay those of the array; their number, or 0 with a failure. */
static int32_t words_of(const mxArray* array, const uint32_t** words)
{
    if (array != NULL && mxIsUint32(array) && !mxIsComplex(array) && mxGetNumberOfElements(array) > 0 &&
        mxGetNumberOfElements(array) < INT32_MAX && (mxGetM(array) == 1 || mxGetN(array) == 1)) {
        *words = (const uint32_t*)mxGetData(array);
        return (int32_t)mxGetNumberOfElements(array);
    }
    fail("tarvutil:badArgument", "words: a vector of uint32 that is not empty is needed");
    return 0;
}

/* --- Results --- */

typedef int32_t (*put_text)(void* handle, void* more, char* text, int32_t capacity);
typedef int32_t (*put_error)(const void* handle, char* text, int32_t capacity);

/* A failure whose text begins with the name of an option: callers write max_error for max-error. */
static void fail_by_option(const char* id, const char* reason)
{
    char text[TEXT_ROOM] = "";
    char* letter;
    strncpy(text, reason, TEXT_ROOM - 1);
    for (letter = text; *letter != '\0' && *letter != ' ' && *letter != ':'; ++letter)
        if (*letter == '-') *letter = '_';
    fail(id, text);
}

/* A failure with the reason of the library, in the names that callers write. */
static void fail_because(const char* id, const char* reason)
{
    if (strncmp(reason, "max-", 4) == 0)
        fail_by_option(id, reason);
    else if (strncmp(reason, "drawn: ", 7) == 0)
        fail(id, "train: the train has no end");
    else
        fail(id, reason);
}

/* A failure with the text that a handle keeps. */
static void fail_by(put_error error, const void* handle, int32_t code)
{
    char text[TEXT_ROOM] = "";
    if (error(handle, text, TEXT_ROOM) >= TEXT_ROOM) strcpy(text, "see the report");
    fail_because(id_of(code), text);
}

/* A text of any length: asks for its size first. */
static mxArray* text_result(put_text put, put_error error, void* handle, void* more)
{
    mxArray* result = NULL;
    const int32_t size = put(handle, more, NULL, 0);
    char* text;
    if (size < 0) {
        fail_by(error, handle, size);
        return NULL;
    }
    text = (char*)mxMalloc((size_t)size + 1);
    put(handle, more, text, size + 1);
    result = mxCreateString(text);
    mxFree(text);
    return result;
}

static int32_t report_error(const void* report, char* text, int32_t capacity)
{
    return tarvutil_report_error((const tarvutil_report*)report, text, capacity);
}

static int32_t stimulator_error(const void* stimulator, char* text, int32_t capacity)
{
    return tarvutil_stimulator_error((const tarvutil_stimulator*)stimulator, text, capacity);
}

static int32_t pattern_error(const void* pattern, char* text, int32_t capacity)
{
    return tarvutil_pattern_error((const tarvutil_pattern*)pattern, text, capacity);
}

static int32_t design_error(const void* design, char* text, int32_t capacity)
{
    return tarvutil_design_error((const tarvutil_design*)design, text, capacity);
}

static int32_t put_json(void* report, void* more, char* text, int32_t capacity)
{
    (void)more;
    return tarvutil_report_json((tarvutil_report*)report, text, capacity);
}

static int32_t put_picture(void* report, void* drawn, char* text, int32_t capacity)
{
    return tarvutil_report_picture((tarvutil_report*)report, *(int32_t*)drawn, text, capacity);
}

static int32_t put_design(void* design, void* more, char* text, int32_t capacity)
{
    (void)more;
    return tarvutil_design_json((tarvutil_design*)design, text, capacity);
}

static int32_t put_pattern(void* pattern, void* more, char* text, int32_t capacity)
{
    (void)more;
    return tarvutil_pattern_text((tarvutil_pattern*)pattern, text, capacity);
}

static int32_t put_settings(void* stimulator, void* more, char* text, int32_t capacity)
{
    (void)more;
    return tarvutil_stimulator_json((tarvutil_stimulator*)stimulator, text, capacity);
}

static mxArray* report_words(tarvutil_report* report)
{
    mxArray* result;
    const int32_t count = tarvutil_report_words(report, NULL, 0);
    if (count < 0) {
        fail_by(report_error, report, count);
        return NULL;
    }
    result = mxCreateNumericMatrix(1, (mwSize)count, mxUINT32_CLASS, mxREAL);
    tarvutil_report_words(report, (uint32_t*)mxGetData(result), count);
    return result;
}

/* --- Stimulators: six arguments, text and name of a device file and of a pattern file, keys, and their values --- */

typedef int32_t (*read_text)(tarvutil_stimulator* stimulator, const char* text, int32_t length,
                             const char* name, int32_t name_length);

/* Reads a file whose text and name are two arguments; there is none when the name is empty. */
static void read_file(tarvutil_stimulator* stimulator, read_text read, int first, const char* what)
{
    char* text = text_of(argument(first), what);
    char* name = text_of(argument(first + 1), what);
    if (failure_id == NULL && name[0] != '\0' && read(stimulator, text, -1, name, -1) != TARVUTIL_OK) {
        char reason[TEXT_ROOM] = "";
        tarvutil_stimulator_error(stimulator, reason, TEXT_ROOM);
        fail("tarvutil:badArgument", reason);
    }
    if (text != NULL) mxFree(text);
    if (name != NULL) mxFree(name);
}

static void set_options(tarvutil_stimulator* stimulator, const mxArray* keys, const mxArray* values)
{
    mwSize i;
    if (keys == NULL || values == NULL || !mxIsCell(keys) || !mxIsDouble(values) || mxIsComplex(values) ||
        mxIsSparse(values) || mxGetNumberOfElements(keys) != mxGetNumberOfElements(values)) {
        fail("tarvutil:badArgument", "options: names and values are needed");
        return;
    }
    for (i = 0; i < mxGetNumberOfElements(keys) && failure_id == NULL; ++i) {
        char* key = text_of(mxGetCell(keys, i), "name of an option");
        if (key == NULL) return;
        {
            const int32_t code = tarvutil_stimulator_set(stimulator, key, -1, mxGetPr(values)[i]);
            char reason[TEXT_ROOM] = "";
            if (code != TARVUTIL_OK) {
                /* "value: budget is not ...", "key: colour is not ..." */
                const char* colon;
                tarvutil_stimulator_error(stimulator, reason, TEXT_ROOM);
                colon = strstr(reason, ": ");
                fail_by_option(id_of(code), colon != NULL ? colon + 2 : reason);
            }
        }
        mxFree(key);
    }
}

static tarvutil_stimulator* stimulator_of(int first)
{
    char reason[TEXT_ROOM] = "";
    tarvutil_stimulator* stimulator = tarvutil_stimulator_new(reason, TEXT_ROOM);
    if (stimulator == NULL) {
        fail("tarvutil:noMemory", reason);
        return NULL;
    }
    read_file(stimulator, tarvutil_stimulator_read_profile, first, "device");
    if (failure_id == NULL) read_file(stimulator, tarvutil_stimulator_read_patterns, first + 2, "patterns");
    if (failure_id == NULL) set_options(stimulator, argument(first + 4), argument(first + 5));
    if (failure_id == NULL) return stimulator;
    tarvutil_stimulator_free(stimulator);
    return NULL;
}

/* --- Patterns that are kept --- */

typedef struct kept
{
    uint64_t number;
    tarvutil_pattern* pattern;
    struct kept* next;
} kept;

static kept* patterns = NULL;
static uint64_t last_number = 0;

static void free_all(void)
{
    while (patterns != NULL) {
        kept* first = patterns;
        patterns = first->next;
        tarvutil_pattern_free(first->pattern);
        free(first);
    }
}

static mxArray* keep(tarvutil_pattern* pattern)
{
    mxArray* result;
    kept* entry = (kept*)malloc(sizeof *entry);
    if (entry == NULL) {
        tarvutil_pattern_free(pattern);
        fail("tarvutil:noMemory", "out of memory");
        return NULL;
    }
    /* While patterns are kept the gateway stays loaded: clear would forget which numbers were used. */
    if (last_number == 0) {
        mexAtExit(free_all);
        mexLock();
    }
    entry->number = ++last_number;
    entry->pattern = pattern;
    entry->next = patterns;
    patterns = entry;
    result = mxCreateNumericMatrix(1, 1, mxUINT64_CLASS, mxREAL);
    *(uint64_t*)mxGetData(result) = entry->number;
    return result;
}

/* The entry of a pattern, as what points to it; null with a failure. */
static kept** entry_of(const mxArray* array)
{
    kept** entry;
    if (array != NULL && mxIsUint64(array) && mxGetNumberOfElements(array) == 1)
        for (entry = &patterns; *entry != NULL; entry = &(*entry)->next)
            if ((*entry)->number == *(const uint64_t*)mxGetData(array)) return entry;
    fail("tarvutil:badHandle", "pattern: not a pattern, or it was freed");
    return NULL;
}

static const struct
{
    const char* name;
    int32_t parameter;
} parameters[] = {
    {"time_step_us", TARVUTIL_TIME_STEP_US},
    {"period_us", TARVUTIL_PERIOD_US},
    {"max_offset_us", TARVUTIL_MAX_OFFSET_US},
    {"end_us", TARVUTIL_END_US},
    {"train_mismatch_ms", TARVUTIL_TRAIN_MISMATCH_MS},
    {"max_amp_ua", TARVUTIL_MAX_AMP_UA},
    {"min_amp_ua", TARVUTIL_MIN_AMP_UA},
    {"phase_count", TARVUTIL_PHASE_COUNT},
    {"change_count", TARVUTIL_CHANGE_COUNT},
    {"update_count", TARVUTIL_UPDATE_COUNT},
    {"max_words", TARVUTIL_MAX_WORDS},
    {"continuous", TARVUTIL_CONTINUOUS},
    {"amp_step_ua", TARVUTIL_AMP_STEP_UA},
    {"amp_max_ua", TARVUTIL_AMP_MAX_UA},
    {"period_ms", TARVUTIL_PERIOD_MS},
    {"frequency_hz", TARVUTIL_FREQUENCY_HZ},
    {"train_ms", TARVUTIL_TRAIN_MS},
    {"cycles", TARVUTIL_CYCLES},
    {"offset_ms", TARVUTIL_OFFSET_MS},
    {"ipi_us", TARVUTIL_IPI_US},
    {"phase1_us", TARVUTIL_PHASE1_US},
    {"phase2_us", TARVUTIL_PHASE2_US},
    {"phase1_ua", TARVUTIL_PHASE1_UA},
    {"phase2_ua", TARVUTIL_PHASE2_UA},
    {"polarity", TARVUTIL_POLARITY},
    {"balance_mode", TARVUTIL_BALANCE_MODE},
};

static int32_t parameter_of(const mxArray* array)
{
    char message[TEXT_ROOM];
    size_t i;
    int32_t found = -1;
    char* name = text_of(array, "parameter");
    if (name == NULL) return -1;
    for (i = 0; i < sizeof parameters / sizeof *parameters; ++i)
        if (strcmp(parameters[i].name, name) == 0) found = parameters[i].parameter;
    snprintf(message, sizeof message, "parameter: %.100s is not a parameter", name);
    mxFree(name);
    if (found < 0) fail("tarvutil:badArgument", message);
    return found;
}

static const char* name_of(int32_t parameter)
{
    size_t i;
    for (i = 0; i < sizeof parameters / sizeof *parameters; ++i)
        if (parameters[i].parameter == parameter) return parameters[i].name;
    return "value";
}

/* --- Commands: each gets its arguments from 1 on and fills the results --- */

typedef struct
{
    int count;
    mxArray** results;
} results;

/* The report on argument 1, a text or a pattern, read leniently or not by argument 2, with the options of 3 to 8. */
static tarvutil_report* report_of(void)
{
    char reason[TEXT_ROOM] = "";
    tarvutil_report* report = NULL;
    const mxArray* subject = argument(1);
    const int lenient = number_of(argument(2), "lenient") != 0;
    tarvutil_stimulator* stimulator = failure_id == NULL ? stimulator_of(3) : NULL;
    if (stimulator == NULL) return NULL;
    if (mxIsChar(subject)) {
        char* text = text_of(subject, "text");
        if (text != NULL) report = tarvutil_report_new(stimulator, text, -1, lenient, reason, TEXT_ROOM);
        if (text != NULL) mxFree(text);
    } else {
        kept** entry = entry_of(subject);
        if (entry != NULL)
            report = tarvutil_pattern_report_new((*entry)->pattern, stimulator, reason, TEXT_ROOM);
    }
    tarvutil_stimulator_free(stimulator);
    if (report == NULL) fail_because("tarvutil:badArgument", reason);
    return report;
}

static void encode(results* out)
{
    tarvutil_report* report = report_of();
    if (report != NULL) out->results[0] = report_words(report);
    tarvutil_report_free(report);
}

static void check(results* out)
{
    tarvutil_report* report = report_of();
    if (report != NULL) out->results[0] = text_result(put_json, report_error, report, NULL);
    tarvutil_report_free(report);
}

/* Argument 9: 0 one cycle, 1 the train. */
static void picture(results* out)
{
    tarvutil_report* report = report_of();
    int32_t drawn = report != NULL && whole_of(argument(9), "drawn") != 0 ? TARVUTIL_TRAIN : TARVUTIL_CYCLE;
    if (report != NULL && failure_id == NULL)
        out->results[0] = text_result(put_picture, report_error, report, &drawn);
    tarvutil_report_free(report);
}

/* Argument 1: the parameters as JSON; 2 to 7 the options. */
static void design(results* out)
{
    char reason[TEXT_ROOM] = "";
    char* json = text_of(argument(1), "parameters");
    tarvutil_stimulator* stimulator = json != NULL ? stimulator_of(2) : NULL;
    if (stimulator != NULL) {
        tarvutil_design* made = tarvutil_design_new(stimulator, json, -1, reason, TEXT_ROOM);
        if (made == NULL)
            fail("tarvutil:badArgument", reason);
        else
            out->results[0] = text_result(put_design, design_error, made, NULL);
        tarvutil_design_free(made);
    }
    tarvutil_stimulator_free(stimulator);
    if (json != NULL) mxFree(json);
}

/* Options: the values in force, as JSON. */
static void device(results* out)
{
    tarvutil_stimulator* stimulator = stimulator_of(1);
    if (stimulator == NULL) return;
    out->results[0] = text_result(put_settings, stimulator_error, stimulator, NULL);
    tarvutil_stimulator_free(stimulator);
}

/* The reason why words are not a word array stands in the JSON of what they play: {"errors":["word 2 ..."]}. */
static void fail_by_json(const char* json)
{
    char message[TEXT_ROOM];
    const char* reason = strstr(json, "[\"");
    const char* end = strrchr(json, '"');
    if (reason != NULL && end > reason + 2)
        snprintf(message, sizeof message, "words: %.*s", (int)(end - reason - 2), reason + 2);
    else
        snprintf(message, sizeof message, "words: this is not a word array");
    fail("tarvutil:badArgument", message);
}

/* A failure of a function that has no handle, and so no text. */
static void fail_by_words(int32_t code, const uint32_t* words, int32_t count)
{
    char json[TEXT_ROOM] = "";
    switch (code) {
        case TARVUTIL_REFUSED:
            tarvutil_segments_json(words, count, 1, 1, json, TEXT_ROOM);
            fail_by_json(json);
            return;
        case TARVUTIL_NO_MEMORY:
            fail(id_of(code), "out of memory");
            return;
        default:
            fail(id_of(code), "words: an argument is outside its range");
    }
}

/* Words, time step, amplitude step: the JSON of what they play, for its warnings. */
static void remarks(results* out)
{
    const uint32_t* words = NULL;
    const int32_t count = words_of(argument(1), &words);
    const float time_step = above_zero_of(argument(2), "time_step");
    const float amp_step = above_zero_of(argument(3), "amp_step");
    int32_t size;
    char* text;
    if (failure_id != NULL) return;
    size = tarvutil_segments_json(words, count, time_step, amp_step, NULL, 0);
    if (size < 0) {
        fail_by_words(size, words, count);
        return;
    }
    text = (char*)mxMalloc((size_t)size + 1);
    tarvutil_segments_json(words, count, time_step, amp_step, text, size + 1);
    if (strncmp(text, "{\"errors\"", 9) == 0)
        fail_by_json(text);
    else
        out->results[0] = mxCreateString(text);
    mxFree(text);
}

/* Words, time step, amplitude step: start, duration, current and word of each stretch, a column each. */
static void decode(results* out)
{
    const uint32_t* words = NULL;
    const int32_t count = words_of(argument(1), &words);
    const float time_step = above_zero_of(argument(2), "time_step");
    const float amp_step = above_zero_of(argument(3), "amp_step");
    int32_t segments;
    mxArray* numbers;
    mxArray* indices;
    if (failure_id != NULL) return;
    segments = tarvutil_segments(words, count, time_step, amp_step, NULL, NULL, NULL, NULL, 0);
    if (segments < 0) {
        fail_by_words(segments, words, count);
        return;
    }
    numbers = mxCreateDoubleMatrix((mwSize)segments, 3, mxREAL);
    indices = mxCreateNumericMatrix((mwSize)segments, 1, mxINT32_CLASS, mxREAL);
    tarvutil_segments(words, count, time_step, amp_step, mxGetPr(numbers), mxGetPr(numbers) + segments,
                      mxGetPr(numbers) + 2 * (size_t)segments, (int32_t*)mxGetData(indices), segments);
    out->results[0] = numbers;
    if (out->count > 1) out->results[1] = indices;
}

/* Words, time step, amplitude step, cycles, rate. */
static void samples(results* out)
{
    const uint32_t* words = NULL;
    const int32_t count = words_of(argument(1), &words);
    const float time_step = above_zero_of(argument(2), "time_step");
    const float amp_step = above_zero_of(argument(3), "amp_step");
    const int64_t cycles = whole_of(argument(4), "cycles");
    const double rate = number_of(argument(5), "rate_hz");
    int32_t found;
    if (!(rate > 0 && rate <= DBL_MAX))
        fail("tarvutil:badArgument", "rate_hz: a finite number above 0 is needed");
    if (cycles < 0) fail("tarvutil:badArgument", "cycles: a whole number of 0 or above is needed");
    if (failure_id != NULL) return;
    found = tarvutil_samples(words, count, time_step, amp_step, cycles, rate, NULL, 0);
    if (found == TARVUTIL_FAILED || found > MOST_SAMPLES) {
        fail("tarvutil:badArgument", "rate_hz: there would be more than 100000000 samples");
        return;
    }
    if (found < 0) {
        fail_by_words(found, words, count);
        return;
    }
    out->results[0] = mxCreateDoubleMatrix((mwSize)found, 1, mxREAL);
    tarvutil_samples(words, count, time_step, amp_step, cycles, rate, mxGetPr(out->results[0]), found);
}

typedef struct
{
    int32_t poll_ms;
    int64_t until_ms;
} schedule_times;

static int32_t put_schedule(void* made, void* times, char* text, int32_t capacity)
{
    const schedule_times* when = (const schedule_times*)times;
    return tarvutil_schedule_json((tarvutil_schedule*)made, when->poll_ms, when->until_ms, text, capacity);
}

static int32_t schedule_error(const void* made, char* text, int32_t capacity)
{
    return tarvutil_schedule_error((const tarvutil_schedule*)made, text, capacity);
}

/* Adds train i of argument 1, channels, 2, starts, and 3, texts, read leniently or not by argument 4. */
static void add_train(tarvutil_schedule* made, mwSize i)
{
    const double channel = mxGetPr(argument(1))[i];
    const double start = mxGetPr(argument(2))[i];
    char* text;
    int32_t code;
    if (!(channel >= 0 && channel <= INT32_MAX && channel == floor(channel))) {
        fail("tarvutil:badArgument", "channels: whole numbers of 0 or above are needed");
        return;
    }
    if (!(start >= 0 && start <= 9e15 && start == floor(start))) {
        fail("tarvutil:badArgument", "starts_ms: whole numbers of 0 or above are needed");
        return;
    }
    text = text_of(mxGetCell(argument(3), i), "texts");
    if (text == NULL) return;
    code = tarvutil_schedule_add(made, (int32_t)channel, (int64_t)start, text, -1,
                                 number_of(argument(4), "lenient") != 0);
    mxFree(text);
    if (code < 0) fail_by(schedule_error, made, code);
}

/* Arguments 5 to 10: the options; 11 and 12: how often the host polls, and the end, milliseconds. */
static void schedule(results* out)
{
    char reason[TEXT_ROOM] = "";
    const mxArray* channels = argument(1);
    const mxArray* starts = argument(2);
    const mxArray* texts = argument(3);
    const int64_t poll_ms = whole_of(argument(11), "poll_ms");
    schedule_times times;
    tarvutil_stimulator* stimulator;
    tarvutil_schedule* made;
    mwSize i;
    times.poll_ms = poll_ms >= 1 && poll_ms <= INT32_MAX ? (int32_t)poll_ms : 0;
    times.until_ms = whole_of(argument(12), "until_ms");
    if (failure_id != NULL) return;
    if (!mxIsDouble(channels) || !mxIsDouble(starts) || mxIsComplex(channels) || mxIsComplex(starts) ||
        mxIsSparse(channels) || mxIsSparse(starts) || !mxIsCell(texts) ||
        mxGetNumberOfElements(channels) != mxGetNumberOfElements(texts) ||
        mxGetNumberOfElements(starts) != mxGetNumberOfElements(texts)) {
        fail("tarvutil:badArgument", "texts: one channel and one start, doubles, are needed for each text");
        return;
    }
    stimulator = stimulator_of(5);
    if (stimulator == NULL) return;
    made = tarvutil_schedule_new(stimulator, reason, TEXT_ROOM);
    tarvutil_stimulator_free(stimulator);
    if (made == NULL) {
        fail_because("tarvutil:badArgument", reason);
        return;
    }
    for (i = 0; i < mxGetNumberOfElements(texts) && failure_id == NULL; ++i) add_train(made, i);
    if (failure_id == NULL) out->results[0] = text_result(put_schedule, schedule_error, made, &times);
    tarvutil_schedule_free(made);
}

/* Options: a Lilly pattern, whatever kind a file gives. */
static void pattern_new(results* out)
{
    char reason[TEXT_ROOM] = "";
    double value[4] = {0};
    static const char* keys[4] = {"time-step", "amp-step", "amp-max", "budget"};
    int i;
    tarvutil_pattern* pattern;
    tarvutil_stimulator* stimulator = stimulator_of(1);
    if (stimulator == NULL) return;
    for (i = 0; i < 4; ++i) tarvutil_stimulator_get(stimulator, keys[i], -1, &value[i]);
    tarvutil_stimulator_free(stimulator);
    pattern = tarvutil_pattern_new(TARVUTIL_LILLY, (float)value[0], (float)value[1], (float)value[2],
                                   (int32_t)value[3], reason, TEXT_ROOM);
    if (pattern == NULL)
        fail("tarvutil:badArgument", reason);
    else
        out->results[0] = keep(pattern);
}

static void pattern_clear(results* out)
{
    kept** entry = entry_of(argument(1));
    (void)out;
    if (entry != NULL) {
        kept* gone = *entry;
        *entry = gone->next;
        tarvutil_pattern_free(gone->pattern);
        free(gone);
    }
}

static void pattern_get(results* out)
{
    kept** entry = entry_of(argument(1));
    const int32_t parameter = entry != NULL ? parameter_of(argument(2)) : -1;
    double value = 0;
    int32_t code;
    if (failure_id != NULL) return;
    code = tarvutil_pattern_get((*entry)->pattern, parameter, &value);
    if (code != TARVUTIL_OK) fail_by(pattern_error, (*entry)->pattern, code);
    out->results[0] = mxCreateDoubleScalar(value);
}

/* Pattern, parameter, value, whether the period may grow: what is then in effect. */
static void pattern_set(results* out)
{
    kept** entry = entry_of(argument(1));
    const int32_t parameter = entry != NULL ? parameter_of(argument(2)) : -1;
    const double value = number_of(argument(3), name_of(parameter));
    const double extend = number_of(argument(4), "extend");
    double effect = 0;
    int32_t code;
    if (failure_id != NULL) return;
    code = tarvutil_pattern_set((*entry)->pattern, parameter, value, extend != 0, &effect);
    if (code != TARVUTIL_OK) {
        char reason[TEXT_ROOM] = "";
        char message[TEXT_ROOM + 40];
        tarvutil_pattern_error((*entry)->pattern, reason, TEXT_ROOM);
        snprintf(message, sizeof message, "%s: %s", name_of(parameter),
                 strncmp(reason, "value: ", 7) == 0 ? reason + 7 : reason);
        fail(id_of(code), message);
    }
    out->results[0] = mxCreateDoubleScalar(effect);
}

static void pattern_words(results* out)
{
    kept** entry = entry_of(argument(1));
    int32_t count;
    if (entry == NULL) return;
    count = tarvutil_pattern_words((*entry)->pattern, NULL, 0);
    if (count < 0) {
        fail_by(pattern_error, (*entry)->pattern, count);
        return;
    }
    out->results[0] = mxCreateNumericMatrix(1, (mwSize)count, mxUINT32_CLASS, mxREAL);
    tarvutil_pattern_words((*entry)->pattern, (uint32_t*)mxGetData(out->results[0]), count);
}

static void pattern_text(results* out)
{
    kept** entry = entry_of(argument(1));
    if (entry != NULL) out->results[0] = text_result(put_pattern, pattern_error, (*entry)->pattern, NULL);
}

static void version(results* out)
{
    char text[TEXT_ROOM] = "";
    tarvutil_version(text, TEXT_ROOM);
    out->results[0] = mxCreateString(text);
}

static const struct
{
    const char* name;
    void (*run)(results* out);
} commands[] = {
    {"encode", encode},
    {"check", check},
    {"picture", picture},
    {"design", design},
    {"device", device},
    {"decode", decode},
    {"remarks", remarks},
    {"schedule", schedule},
    {"samples", samples},
    {"pattern_new", pattern_new},
    {"pattern_clear", pattern_clear},
    {"pattern_get", pattern_get},
    {"pattern_set", pattern_set},
    {"pattern_words", pattern_words},
    {"pattern_text", pattern_text},
    {"version", version},
};

void mexFunction(int nlhs, mxArray* plhs[], int nrhs, const mxArray* prhs[])
{
    size_t i;
    char* name;
    results out;
    failure_id = NULL;
    number_of_arguments = nrhs;
    arguments = prhs;
    out.count = nlhs;
    out.results = plhs;
    name = text_of(argument(0), "command");
    for (i = 0; name != NULL && i < sizeof commands / sizeof *commands; ++i)
        if (strcmp(commands[i].name, name) == 0) break;
    if (name != NULL) mxFree(name);
    if (failure_id == NULL && i == sizeof commands / sizeof *commands)
        fail("tarvutil:badArgument", "command: not a command");
    if (failure_id == NULL) commands[i].run(&out);
    if (failure_id != NULL) mexErrMsgIdAndTxt(failure_id, "%s", failure);
}
