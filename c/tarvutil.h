/* The C interface of libTarvUtil: stimulation patterns for a current stimulator, the command words that play them, and
 * reports that compare what will be played with what was asked. For languages that cannot call C++.
 *
 * Units stand at the ends of names: us (microseconds), ms (milliseconds), ua (microamperes), hz, nc (nanocoulombs).
 *
 * Results. Functions whose name ends in _new return a handle, or null and the reason in the caller's buffer (cut to its
 * capacity). Every other function returns 0 or a count, or one of the negative codes of enum tarvutil_status;
 * *_error gives the text of the last error of a handle. A function without a handle gives a code only. What is refused
 * or outside its range changes nothing, unless a function says otherwise.
 *
 * Texts go in as a pointer and a length in bytes; a length of -1 means up to the NUL. A NUL inside is an error.
 *
 * JSON texts are UTF-8 and of one line; numbers that are infinite or unknown are null in them. The chapter
 * on the program's output in the manual lists their keys.
 *
 * Arrays and texts are written to buffers of the caller, whose capacity is in elements. The result is the number of
 * elements (of a text without its NUL). If an array has more elements than the capacity, or a text as many or more,
 * nothing is written: call again with a larger buffer. A null buffer is allowed with capacity 0, to get the size.
 *
 * No function prints, aborts or throws. A handle is used by one thread at a time; different handles are independent.
 * A handle that was freed must not be used again. Freeing null does nothing.
 */
#ifndef TARVUTIL_H
#define TARVUTIL_H

#include <stdint.h>

/* Define TARVUTIL_FFI for parsers that do not know attributes. */
#if defined(TARVUTIL_FFI)
#define TARVUTIL_API
#elif defined(_WIN32) && defined(TARVUTIL_C_BUILDING)
#define TARVUTIL_API __declspec(dllexport)
#elif defined(_WIN32)
#define TARVUTIL_API __declspec(dllimport)
#else
#define TARVUTIL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct tarvutil_pattern tarvutil_pattern;
typedef struct tarvutil_play tarvutil_play;
typedef struct tarvutil_stimulator tarvutil_stimulator;
typedef struct tarvutil_report tarvutil_report;
typedef struct tarvutil_design tarvutil_design;
typedef struct tarvutil_schedule tarvutil_schedule;

enum tarvutil_status
{
    TARVUTIL_OK = 0,
    TARVUTIL_NULL_HANDLE = -1,  /* a handle is null */
    TARVUTIL_NULL_BUFFER = -2,  /* a buffer, array or text is null */
    TARVUTIL_BAD_ARGUMENT = -3, /* a value or an index outside its range; the text names it */
    TARVUTIL_BAD_TEXT = -4,     /* a length below -1, or a NUL inside */
    TARVUTIL_REFUSED = -5,      /* the pattern refuses or cannot encode it, and does not change */
    TARVUTIL_NOT_LILLY = -6,    /* only a Lilly pattern has this */
    TARVUTIL_NOT_DUE = -7,      /* no block is due, or none is left */
    TARVUTIL_NOT_FOUND = -8,    /* a key or figure that does not exist */
    TARVUTIL_NO_MEMORY = -9,
    TARVUTIL_FAILED = -10 /* any other failure; the text describes it */
};

enum tarvutil_kind
{
    TARVUTIL_LILLY = 0, /* five phases: offset, phase 1, interphase interval, phase 2, end phase */
    TARVUTIL_PLAIN = 1  /* any number of phases, played as they are or refused */
};

/* The version of the library, "1.0.0". */
TARVUTIL_API int32_t tarvutil_version(char* text, int32_t capacity);

/* --- Patterns --- */

/* The values of a pattern that can be read, and from TARVUTIL_AMP_STEP_UA on also set. */
enum tarvutil_parameter
{
    TARVUTIL_TIME_STEP_US = 0,      /* read only, as are those after it */
    TARVUTIL_PERIOD_US = 1,         /* sum of the phases */
    TARVUTIL_MAX_OFFSET_US = 2,     /* Lilly: the offset that leaves the shortest end phase */
    TARVUTIL_END_US = 3,            /* Lilly: the end phase */
    TARVUTIL_TRAIN_MISMATCH_MS = 4, /* by how much the train exceeds its last whole period */
    TARVUTIL_MAX_AMP_UA = 5,        /* the largest amplitude of a phase */
    TARVUTIL_MIN_AMP_UA = 6,        /* the smallest, the most negative */
    TARVUTIL_PHASE_COUNT = 7,
    TARVUTIL_CHANGE_COUNT = 8, /* how often the pattern was edited */
    TARVUTIL_UPDATE_COUNT = 9, /* how often its words were built */
    TARVUTIL_MAX_WORDS = 10,   /* the budget without word 0 */
    TARVUTIL_CONTINUOUS = 11,  /* 1 for a train without end */

    TARVUTIL_AMP_STEP_UA = 20,  /* settable, as are those after it; the phases keep their amplitudes */
    TARVUTIL_AMP_MAX_UA = 21,   /* clamps the phases */
    TARVUTIL_PERIOD_MS = 22,    /* above 0; the last phase changes by the difference */
    TARVUTIL_FREQUENCY_HZ = 23, /* likewise */
    TARVUTIL_TRAIN_MS = 24,     /* above 0, raised to one period; infinite for a train without end */
    TARVUTIL_CYCLES = 25, /* sets the train to this number of periods; the largest int32_t when continuous */
    TARVUTIL_OFFSET_MS = 26, /* Lilly, as are those after it */
    TARVUTIL_IPI_US = 27,
    TARVUTIL_PHASE1_US = 28,
    TARVUTIL_PHASE2_US = 29, /* not changed while a balance mode is set */
    TARVUTIL_PHASE1_UA = 30,
    TARVUTIL_PHASE2_UA = 31,   /* likewise */
    TARVUTIL_POLARITY = 32,    /* 0 cathodal phase first, 1 anodal phase first */
    TARVUTIL_BALANCE_MODE = 33 /* 0 off, 1 to 4 for a phase 2 that is 1, 2, 4 or 8 times weaker and longer */
};

/* A pattern for a stimulator with that time step and amplitude step (finite, above 0) and budget (1 to 1024 words, word
 * 0 included). A Lilly pattern has its default phases, a plain one none. amp_max_ua: the largest amplitude, 0 or
 * above. */
TARVUTIL_API tarvutil_pattern* tarvutil_pattern_new(int32_t kind, float time_step_us, float amp_step_ua,
                                                    float amp_max_ua, int32_t budget, char* reason,
                                                    int32_t capacity);
TARVUTIL_API tarvutil_pattern* tarvutil_pattern_copy_new(const tarvutil_pattern* pattern, char* reason,
                                                         int32_t capacity);
TARVUTIL_API int32_t tarvutil_pattern_free(tarvutil_pattern* pattern);
TARVUTIL_API int32_t tarvutil_pattern_error(const tarvutil_pattern* pattern, char* text, int32_t capacity);

TARVUTIL_API int32_t tarvutil_pattern_get(tarvutil_pattern* pattern, int32_t parameter, double* value);
/* Sets a parameter to value, finite (a train may be infinite); lengths, the offset and the interphase interval are 0 or
 * above. in_effect, which may be null, gets the value in effect: it differs from value when the pattern rounds, repairs
 * or refuses. If extend_period is not 0, a length may make the period longer. */
TARVUTIL_API int32_t tarvutil_pattern_set(tarvutil_pattern* pattern, int32_t parameter, double value,
                                          int32_t extend_period, double* in_effect);
/* Sets the amplitude step, microamperes; each phase keeps its number of steps. */
TARVUTIL_API int32_t tarvutil_pattern_rescale(tarvutil_pattern* pattern, float amp_step_ua);

TARVUTIL_API int32_t tarvutil_pattern_label(tarvutil_pattern* pattern, char* text, int32_t capacity);
TARVUTIL_API int32_t tarvutil_pattern_set_label(tarvutil_pattern* pattern, const char* text, int32_t length);

/* The phases in playing order: lengths in microseconds, amplitudes in microamperes, two arrays of that capacity. */
TARVUTIL_API int32_t tarvutil_pattern_phases(tarvutil_pattern* pattern, float* lengths_us,
                                             float* amplitudes_ua, int32_t capacity);
/* Replaces all phases when they fit the time steps and the budget, clamped to the largest amplitude. */
TARVUTIL_API int32_t tarvutil_pattern_set_phases(tarvutil_pattern* pattern, const float* lengths_us,
                                                 const float* amplitudes_ua, int32_t count);
/* Edits of phase index, from 0: accepted, repaired (Lilly) or refused. An index that no phase has and a length below 0
 * are TARVUTIL_BAD_ARGUMENT, also in the raw edits. */
TARVUTIL_API int32_t tarvutil_pattern_set_phase(tarvutil_pattern* pattern, int32_t index, float length_us,
                                                float amplitude_ua);
TARVUTIL_API int32_t tarvutil_pattern_set_length(tarvutil_pattern* pattern, int32_t index, float length_us);
TARVUTIL_API int32_t tarvutil_pattern_set_amplitude(tarvutil_pattern* pattern, int32_t index,
                                                    float amplitude_ua);
/* Raw edits: not checked against the time steps and the budget until words are requested. Return the number of phases.
 * Insert puts a phase before phase index; append puts one at the end. */
TARVUTIL_API int32_t tarvutil_pattern_append(tarvutil_pattern* pattern, float length_us, float amplitude_ua);
TARVUTIL_API int32_t tarvutil_pattern_insert(tarvutil_pattern* pattern, int32_t index, float length_us,
                                             float amplitude_ua);
TARVUTIL_API int32_t tarvutil_pattern_remove(tarvutil_pattern* pattern, int32_t index);
TARVUTIL_API int32_t tarvutil_pattern_clear(tarvutil_pattern* pattern);

/* 1 when the phases fit the time steps and count at most max_words words besides word 0 (0 or above), else 0. */
TARVUTIL_API int32_t tarvutil_pattern_fits(tarvutil_pattern* pattern, const float* lengths_us,
                                           const float* amplitudes_ua, int32_t count, int32_t max_words);

/* The word array, word 0 with the cycles first. TARVUTIL_REFUSED when there are no phases, or the phases give no words:
 * send nothing. The text is the one that a report on the pattern has. */
TARVUTIL_API int32_t tarvutil_pattern_words(tarvutil_pattern* pattern, uint32_t* words, int32_t capacity);
/* While on is not 0, bits 0 to 15 of every word after word 0 are value, 0 to 65535. */
TARVUTIL_API int32_t tarvutil_pattern_override(tarvutil_pattern* pattern, int32_t on, int32_t value);

/* Reads a specification string as the library reads it: lengths are rounded to whole microseconds, amplitudes to whole
 * steps. TARVUTIL_REFUSED when a field is missing or faulty or the phases do not fit. The messages have the reason, and
 * the warnings each change. A faulty balance field of a Lilly pattern is refused after the phases were set. */
TARVUTIL_API int32_t tarvutil_pattern_read(tarvutil_pattern* pattern, const char* text, int32_t length);
/* The messages of the last tarvutil_pattern_read: their number, and one of them, from 0. warnings: 0 for errors, else
 * for warnings. An index that no message has is TARVUTIL_BAD_ARGUMENT. */
TARVUTIL_API int32_t tarvutil_pattern_message_count(const tarvutil_pattern* pattern, int32_t warnings);
TARVUTIL_API int32_t tarvutil_pattern_message(const tarvutil_pattern* pattern, int32_t warnings,
                                              int32_t index, char* text, int32_t capacity);
/* The phases and the train as text, without a head. */
TARVUTIL_API int32_t tarvutil_pattern_text(tarvutil_pattern* pattern, char* text, int32_t capacity);

/* --- Continued play --- */

/* The record of a play of more cycles than one command has (4095). It began at now_ms, and cycles_started cycles, 0 or
 * above, are already commanded. It keeps the pattern alive, also when the pattern's handle is freed. Null for a pattern
 * without phases. */
TARVUTIL_API tarvutil_play* tarvutil_play_new(const tarvutil_pattern* pattern, int32_t channel,
                                              int32_t cycles_started, int64_t now_ms, char* reason,
                                              int32_t capacity);
TARVUTIL_API int32_t tarvutil_play_free(tarvutil_play* play);
TARVUTIL_API int32_t tarvutil_play_error(const tarvutil_play* play, char* text, int32_t capacity);
TARVUTIL_API int32_t tarvutil_play_channel(const tarvutil_play* play, int32_t* channel);
/* Cycles to be commanded: 0 when as many as the train has, or more, are commanded already; the largest int32_t for a
 * train without end. */
TARVUTIL_API int32_t tarvutil_play_cycles_left(const tarvutil_play* play, int32_t* cycles);
/* When the next block is due, milliseconds. It is ready from 3 ms after that on. */
TARVUTIL_API int32_t tarvutil_play_due(const tarvutil_play* play, int64_t* due_ms);
TARVUTIL_API int32_t tarvutil_play_ready(const tarvutil_play* play, int64_t now_ms);
/* The words of the next block, at most the pattern's budget; capacity must be that large. TARVUTIL_NOT_DUE when nothing
 * is due or left, TARVUTIL_REFUSED when the pattern has no words; the record then does not change. */
TARVUTIL_API int32_t tarvutil_play_continue(tarvutil_play* play, int64_t now_ms, uint32_t* words,
                                            int32_t capacity);

/* --- Stimulators --- */

/* A stimulator with the program's defaults: Lilly patterns, time step 33.333332 us, amplitude step 10 uA, largest
 * amplitude 100 amplitude steps, a budget of 101 words, no limits. */
TARVUTIL_API tarvutil_stimulator* tarvutil_stimulator_new(char* reason, int32_t capacity);
TARVUTIL_API int32_t tarvutil_stimulator_free(tarvutil_stimulator* stimulator);
TARVUTIL_API int32_t tarvutil_stimulator_error(const tarvutil_stimulator* stimulator, char* text,
                                               int32_t capacity);
/* Sets an option by the name that it has in the program, without the dashes: "pattern" (enum tarvutil_kind),
 * "time-step", "amp-step", "amp-max", "budget", a limit such as "max-error", "max-total-current" (of schedules), the
 * switches "exact" and "whole-cycles" (1 or 0), or "area" (of the electrode, cm2, above 0). NaN removes a limit, the
 * area, or the largest amplitude. A value outside its range is TARVUTIL_BAD_ARGUMENT and changes nothing. */
TARVUTIL_API int32_t tarvutil_stimulator_set(tarvutil_stimulator* stimulator, const char* key, int32_t length,
                                             double value);
/* NaN for a limit or an area that is not set. The largest amplitude is 100 steps when it is not set. */
TARVUTIL_API int32_t tarvutil_stimulator_get(tarvutil_stimulator* stimulator, const char* key, int32_t length,
                                             double* value);

/* Sets the values of a device file: TOML with the tables [stimulator] and [limits], whose keys are the names above.
 * text: its contents; name: of the file, for messages, which have it and the line of the fault ("lab.toml:7: ..."), and
 * for the places of tarvutil_stimulator_json. TARVUTIL_REFUSED for a file with a fault, which then changes nothing. */
TARVUTIL_API int32_t tarvutil_stimulator_read_profile(tarvutil_stimulator* stimulator, const char* text,
                                                      int32_t length, const char* name, int32_t name_length);
/* Sets the values of the first line of a pattern file, "# --pattern plain --time-step 20"; a file without such a line
 * sets nothing. text: its contents, or the first line. They replace earlier values, but a smaller largest amplitude
 * remains. So read the device file first, then the pattern file, and set options last. TARVUTIL_REFUSED as for a device
 * file. */
TARVUTIL_API int32_t tarvutil_stimulator_read_patterns(tarvutil_stimulator* stimulator, const char* text,
                                                       int32_t length, const char* name, int32_t name_length);
/* The values in force, and the limits that are set: the JSON object that "tarvutil device --format json" prints. The
 * "place" of each is "lab.toml:3", "argument" if tarvutil_stimulator_set has set it, or "default". */
TARVUTIL_API int32_t tarvutil_stimulator_json(tarvutil_stimulator* stimulator, char* text, int32_t capacity);

/* --- Reports --- */

/* Compares what will be played with what a specification string asks for. A refused text has a report, too, without
 * words. If lenient is not 0, irregular texts are read as the library reads them; otherwise they are refused. Null when
 * a limit is set that needs the area of the electrode, and the area is not set. */
TARVUTIL_API tarvutil_report* tarvutil_report_new(const tarvutil_stimulator* stimulator, const char* text,
                                                  int32_t length, int32_t lenient, char* reason,
                                                  int32_t capacity);
/* The same for the present state of a pattern. limits: a stimulator whose limits apply, or null for none. */
TARVUTIL_API tarvutil_report* tarvutil_pattern_report_new(const tarvutil_pattern* pattern,
                                                          const tarvutil_stimulator* limits, char* reason,
                                                          int32_t capacity);
TARVUTIL_API int32_t tarvutil_report_free(tarvutil_report* report);
TARVUTIL_API int32_t tarvutil_report_error(const tarvutil_report* report, char* text, int32_t capacity);
/* 1 when there are words and no limit is exceeded, else 0. */
TARVUTIL_API int32_t tarvutil_report_within_limits(tarvutil_report* report);
/* TARVUTIL_REFUSED when the text has no words. */
TARVUTIL_API int32_t tarvutil_report_words(tarvutil_report* report, uint32_t* words, int32_t capacity);
/* The report as the JSON object that "tarvutil check --format json" prints, without a place. */
TARVUTIL_API int32_t tarvutil_report_json(tarvutil_report* report, char* text, int32_t capacity);
/* One number of that object, by its path: "/period_error_us", "/phases/2/start_error_us". True is 1, false 0, null
 * NaN. */
TARVUTIL_API int32_t tarvutil_report_figure(tarvutil_report* report, const char* path, int32_t length,
                                            double* value);
/* One text of that object, by its path: "/refusal/text", "/deviations/0/cause". */
TARVUTIL_API int32_t tarvutil_report_text(tarvutil_report* report, const char* path, int32_t length,
                                          char* text, int32_t capacity);
/* Each limit, set or not: a JSON array of objects with "limit" (its name), "what" (it limits), "unit", "value", "most"
 * and "exceeded". "value" is null without words, "most" without a limit. */
TARVUTIL_API int32_t tarvutil_report_limits(tarvutil_report* report, char* text, int32_t capacity);
/* How each of the usual time steps plays the text: the JSON array that "check --steps" prints as "steps". Takes the
 * time of eleven reports. */
TARVUTIL_API int32_t tarvutil_report_steps(tarvutil_report* report, char* text, int32_t capacity);
/* The words and their fields: the JSON object that "tarvutil encode --format json" prints. */
TARVUTIL_API int32_t tarvutil_report_word_rows(tarvutil_report* report, char* text, int32_t capacity);
/* The phases that each word belongs to, by their indices from 0: two arrays of that capacity. A word of a shared step
 * belongs to several phases, first to last. Word 0 belongs to none: -1. Nor do the words after
 * the first one that was not written from the phases, as under an override. */
TARVUTIL_API int32_t tarvutil_report_word_phases(tarvutil_report* report, int32_t* first, int32_t* last,
                                                 int32_t capacity);

enum tarvutil_drawn
{
    TARVUTIL_CYCLE = 0, /* one cycle; long pauses are shortened */
    TARVUTIL_TRAIN = 1  /* the whole train; TARVUTIL_BAD_ARGUMENT for one without end */
};

/* As asked and as played, drawn as an SVG document. TARVUTIL_REFUSED when the text has no words. */
TARVUTIL_API int32_t tarvutil_report_svg(tarvutil_report* report, int32_t drawn, char* text,
                                         int32_t capacity);
/* The same picture as numbers, to be drawn by other means: a JSON object. "asked" and "played" are curves, arrays of
 * [at, microamperes]; at is in microseconds of a time axis from 0 to "width", on which "breaks", [from, to, label], are
 * the shortened pauses. "time_ticks" and "current_ticks" are [at, label], the current axis goes from "low_ua" to
 * "high_ua", and each curve ends in a stroke from -"cap_ua" to "cap_ua". "fine": played has too many cycles to
 * distinguish. Texts: "title", "subtitle", "notes", "time_axis", "current_axis", "asked_name", "played_name",
 * "breaks_text". */
TARVUTIL_API int32_t tarvutil_report_picture(tarvutil_report* report, int32_t drawn, char* text,
                                             int32_t capacity);
/* The time axis of that picture of a cycle: times and their places on it, microseconds, from 0 to the end, linear
 * between two of them; two arrays of that capacity. */
TARVUTIL_API int32_t tarvutil_report_time_axis(tarvutil_report* report, double* times_us, double* places_us,
                                               int32_t capacity);

/* --- Design --- */

/* Specification strings from parameters: a JSON object whose keys are the names that the options of "tarvutil design"
 * have, with "_" or "-" inside, as in
 *
 *     {"amplitude": 60, "phase1": 200, "ipi": 100, "balance": 2, "frequency": 100, "pulses": 100}
 *     {"amplitude": "20:100:20", "phase1": 200, "frequency": 100, "train": "inf", "polarity": "positive"}
 *
 * A value is a number, or a text in the form of the option; null is the same as no key. The kind of the texts is plain
 * for bursts, else Lilly; the kind of the stimulator is not used. The result is null, with the reason, when a key is
 * unknown, a value is outside its range, values exclude each other, or there would be more than 100000 texts. If no
 * words play the design, the result is not null: the design has no text, and its JSON has the reason. */
TARVUTIL_API tarvutil_design* tarvutil_design_new(const tarvutil_stimulator* stimulator,
                                                  const char* parameters, int32_t length, char* reason,
                                                  int32_t capacity);
TARVUTIL_API int32_t tarvutil_design_free(tarvutil_design* design);
TARVUTIL_API int32_t tarvutil_design_error(const tarvutil_design* design, char* text, int32_t capacity);
/* The number of texts: one, or more for a sweep, a ramp or repeated trains. */
TARVUTIL_API int32_t tarvutil_design_count(tarvutil_design* design);
/* One of the texts, from 0. TARVUTIL_BAD_ARGUMENT for an index from the count on, TARVUTIL_REFUSED for a design without
 * text. */
TARVUTIL_API int32_t tarvutil_design_text(tarvutil_design* design, int32_t index, char* text,
                                          int32_t capacity);
/* All of them as a JSON array of objects: "name", "pattern" ("lilly" or "plain"), "text", "adjusted" (a list similar to
 * the requested one is used), "changes" (differences from the request: "item", "asked", "got" and "text"), "remarks"
 * (the same and the totals, as sentences), and "exceeded": limits of the stimulator, applied to played minus requested.
 * Without a text there are "errors", which are sentences, with "advice" or, for a request out of reach, the "reachable"
 * value. */
TARVUTIL_API int32_t tarvutil_design_json(tarvutil_design* design, char* text, int32_t capacity);
/* The report on one of them, with the limits of the stimulator. Without a text it is on the refused list; it is null
 * for a request out of reach. */
TARVUTIL_API tarvutil_report* tarvutil_design_report_new(const tarvutil_design* design, int32_t index,
                                                         char* reason, int32_t capacity);

/* --- Schedules --- */

/* Trains on several channels, each from its own start, for a stimulator. The limits of the stimulator apply. Null when
 * one of them needs the area of the electrode, and the area is not set. */
TARVUTIL_API tarvutil_schedule* tarvutil_schedule_new(const tarvutil_stimulator* stimulator, char* reason,
                                                      int32_t capacity);
TARVUTIL_API int32_t tarvutil_schedule_free(tarvutil_schedule* schedule);
TARVUTIL_API int32_t tarvutil_schedule_error(const tarvutil_schedule* schedule, char* text, int32_t capacity);
/* Adds the train of a specification string on a channel, 0 to 1000000, from start_ms, 0 to 1000000000000. Returns its
 * number, from 0; TARVUTIL_REFUSED when the text has no words, its words last no time, or it exceeds a limit. */
TARVUTIL_API int32_t tarvutil_schedule_add(tarvutil_schedule* schedule, int32_t channel, int64_t start_ms,
                                           const char* text, int32_t length, int32_t lenient);
/* The commands of a host that polls every poll_ms, 1 to 1000000, until until_ms (-1: to the end of all trains, none of
 * which may then be without end). A JSON object: "trains", "commands" in the order of their due times, and "total". The
 * "cut" of a train says that until_ms leaves it out, or cuts it: its words play on, the host must stop its channel.
 * TARVUTIL_REFUSED when a train begins while its channel still plays another, and when the sum of the magnitudes of all
 * currents exceeds "max-total-current" at any time. */
TARVUTIL_API int32_t tarvutil_schedule_json(tarvutil_schedule* schedule, int32_t poll_ms, int64_t until_ms,
                                            char* text, int32_t capacity);
/* The trains as the table of events that "tarvutil play --format events" writes: lines with tabs between columns. */
TARVUTIL_API int32_t tarvutil_schedule_events(tarvutil_schedule* schedule, int64_t until_ms, char* text,
                                              int32_t capacity);

/* --- Words to current ---
 *
 * These functions have no handle, and so no text. Their codes: TARVUTIL_NULL_BUFFER for words or a buffer that is null;
 * TARVUTIL_BAD_ARGUMENT for a count that is not above 0, a step or rate that is not finite and above 0, cycles below 0
 * and a capacity below 0; TARVUTIL_REFUSED when the words are not a word array (tarvutil_segments_json has the reason);
 * TARVUTIL_FAILED when the result has more elements than 32 bits can count. */

/* The stretches of constant current that one cycle of a word array plays, in order and without gaps: start and duration
 * in microseconds, current in microamperes, and the index of the word; four arrays of that capacity. */
TARVUTIL_API int32_t tarvutil_segments(const uint32_t* words, int32_t count, float time_step_us,
                                       float amp_step_ua, double* starts_us, double* durations_us,
                                       double* currents_ua, int32_t* word_indices, int32_t capacity);
/* The same as the JSON object that "tarvutil decode --format json" prints, without a place. "warnings" lists words that
 * no pattern of that stimulator has, such as an amplitude above 100 steps. For words that are not a word array, the
 * object has only "errors", which name the faulty word: "word 2 lasts 0 time steps". */
TARVUTIL_API int32_t tarvutil_segments_json(const uint32_t* words, int32_t count, float time_step_us,
                                            float amp_step_ua, char* text, int32_t capacity);
/* The mean current, microamperes, of samples of 1/rate_hz seconds from the start of the train; the charge stays the
 * same. cycles: of the train, above 0 (1 for one cycle), or 0 for the number in word 0. The rest of the last sample
 * counts as 0 uA. Sample i begins at i/rate_hz seconds. TARVUTIL_FAILED for more than 2147483646 samples,
 * or stretches of constant current. Takes some nanoseconds for each of them, also where currents_ua is null. */
TARVUTIL_API int32_t tarvutil_samples(const uint32_t* words, int32_t count, float time_step_us,
                                      float amp_step_ua, int64_t cycles, double rate_hz, double* currents_ua,
                                      int32_t capacity);

#ifdef __cplusplus
}
#endif

#endif
