#pragma once

#include <string>
#include <vector>

#include "TarvUtilExport.h"

class PatternHelper;

// One phase of a pattern: a constant current for a length of time.
struct phase
{
    float len;  // length, microseconds; a list that passes PhasesValid has none below 0
    float amp;  // amplitude, microamperes; the sign is the direction of the current, 0 is a pause
};

// The enumerations that hosts share with the patterns.
namespace Stim {
// The sign of TrainPeriodMismatch's result; any other value behaves as WithSign.
enum ReturnSign : int
{
    WithSign = 0,   // the signed mismatch
    Magnitude = 1,  // its magnitude
};

// The direction of the first active phase of a biphasic pulse.
enum Polarity : int
{
    NegativeFirst = 0,  // cathodal phase first: phase 1 below zero
    PositiveFirst = 1,  // anodal phase first: phase 1 zero or above
};
}  // namespace Stim

// The abstract base of every stimulation pattern: a list of phases played once per period and repeated for a
// train, and the command words that make a current stimulator play it.
//
// Units: lengths and times are microseconds, amplitudes microamperes, both single precision. Operations with
// milliseconds convert with the factor 1000; frequencies are hertz. In a command word time is counted in time
// steps and current in amplitude steps. The constructor sets both step sizes.
//
// Caching: the words are in the object. They are rebuilt on request, only when the change count was raised
// after they were built (UpdateWordArray and SetCmdOverride rebuild at once). "count +1" marks each operation
// below that raises the change count; no other operation raises it. If an operation changes amplitudes without
// raising the count, the words follow only after another edit or Touch.
//
// Deriving: a host's pattern kind implements the five pure virtual operations. The base calls SetPeriod from
// SetFrequency, and AdjustPhases from the single-phase edits and from Update. It does not call the others.
//
// A pattern object must be used by one thread at a time; distinct objects are independent. Copying copies
// everything, the word array and the counters included. Operations that need memory can throw std::bad_alloc
// and then leave the pattern as it was. Operations that call a virtual operation also throw its exceptions.
// Nothing else throws, except where it is stated.
class TARVUTIL_EXPORT StimPattern
{
 public:
    // Which extreme MaxAmplitude returns; any other value behaves as Positive.
    enum Sign : int
    {
        Positive = 0,  // the largest amplitude
        Negative = 1,  // the smallest, the most negative, amplitude
        Absolute = 2,  // the signed amplitude of the largest magnitude
    };

    // The capacity of the word array, word 0 included.
    static constexpr int MaxWords = 1024;

    // A leftover time of at most this many microseconds is dropped when lengths are cut into time steps.
    static constexpr float IgnoreUsec = 0.5f;
    // This part of a time step is added before a step count is rounded down, so that a length just below a
    // whole number of steps counts as that number: 99.67 us are 3 steps of 33.333332 us.
    static constexpr float IgnoreFrac = 0.015f;

    // A pattern without phases, train length 0, change count 0, its words never built.
    //   maxCmdCount   command budget: the largest number of words of the pattern, word 0 included; 1 or more.
    //                 A budget above MaxWords is only for WriteStimCmds into a host's own buffer: a list that
    //                 needs more than MaxWords words has no word array
    //   timeStepUsec  time step of the stimulator, microseconds; if it is not positive and finite, no list of
    //                 phases is valid
    //   param2/3      stored with the pattern; the library does not read them
    //   ampStepSize   amplitude step, microamperes; if it is negative, NaN or infinite, no list that carries
    //                 current is valid; with 0 every amplitude counts as 0 steps
    //   ampMax        largest amplitude magnitude, microamperes, stored as given; must be 0 or more, because a
    //                 negative one changes the sign of clamped amplitudes (SetAmpMax stores the magnitude)
    // Throws std::exception, and makes no object, when maxCmdCount is 0 or negative.
    StimPattern(int maxCmdCount, float timeStepUsec, float param2, float param3, float ampStepSize,
                float ampMax);
    StimPattern(const StimPattern& other) = default;  // everything, word array and counters included
    // All or nothing: if a copy cannot be allocated, the pattern stays as it was.
    StimPattern& operator=(const StimPattern& other);

    // --- Virtual interface, in the order of its slots ---

    virtual ~StimPattern();  // words that were copied out stay the host's

    // Reads phases and train from a specification string: fields cut at ':', empty ones dropped; a head field
    // that is not examined, the phases, the train duration in milliseconds, further fields for subclasses.
    //
    //     Head:(100,50)(100,-50):DurationMsec=[1000]
    //     Head:(200,-60)(100,0)(400,30):DurationMsec=[inf]        continuous
    //
    // Lengths are rounded to whole microseconds and amplitudes to whole multiples of the argument ampStepSize;
    // see PhasesFromStr. Appends one message per fault to errors (none for a phase field without items) and
    // one per changed amplitude to warnings. Pass two different lists: in one list a warning would count as an
    // error. Returns false, with the pattern unchanged, when a field is missing or faulty. Otherwise passes
    // the phases to SetPhases and the duration to SetTrainLength (count up to +2) and returns true, even when
    // SetPhases refuses the list. To know beforehand, check the result of PhasesFromStr with PhasesValid.
    virtual bool FromString(std::string spec, float ampStepSize, std::vector<std::string>& errors,
                            std::vector<std::string>& warnings);

    // The phases and the train as text with six decimals and without a head field; put "Head:" in front to
    // read it back. Always with a decimal point, whatever locale the host has set; infinity prints as inf,
    // NaN as nan.
    //
    //     (100.000000,50.000000)(100.000000,-50.000000):DurationMsec=[1000.000000]
    virtual std::string ToString();

    // Makes the period, milliseconds, as near the request as the pattern kind allows; returns the period then
    // in force, milliseconds.
    virtual float SetPeriod(float periodMsec) = 0;

    // Puts the default phases and timing of the pattern kind in place. The base never calls it; the
    // constructor of a concrete kind does.
    virtual void Defaults() = 0;

    // True when the number of phases of this kind never changes. The library does not consult it.
    virtual bool PhaseCountFixed() = 0;

    // True when AdjustPhases may rework a list that fails validation. The library does not consult it.
    virtual bool AutoAdjustEnabled() = 0;

    // Decides whether proposed may replace current. May change proposed in place so that it passes
    // PhasesValid(proposed, maxCmds). Single-phase edits pass the pattern's list and an edited copy, which
    // replaces the list when the result is true. When the pattern's list fails validation, Update passes it as
    // both arguments (the same object); the changes then stay, whatever the result. An override must not
    // change the change count.
    virtual bool AdjustPhases(std::vector<phase>& current, std::vector<phase>& proposed, int maxCmds) = 0;

    // The kind of the pattern: 4 unless a subclass overrides it; -1 when patternHelper is null.
    virtual int TypeID(PatternHelper* patternHelper);

    // --- Record ---

    // Names the pattern; count +1 when the text differs.
    void SetLabel(std::string label);
    std::string Label() const;  // empty until it is set

    int PhaseCount() const;       // phases in the list
    float PhaseLen(int i) const;  // length of phase i, microseconds; 0 for an i without a phase
    float PhaseAmp(int i) const;  // amplitude of phase i, microamperes; 0 for an i without a phase
    // Phase i inside the list, valid until the list changes; null for an i without a phase.
    const phase* Phase(int i) const;
    // A copy of the list, in playing order.
    std::vector<phase> Phases() const;

    // Words in the word array, word 0 included; 0 while the array is not valid.
    int WordCount() const;
    // How often a build of the word array was started; after the largest int it starts again at 0.
    int UpdateCount() const;
    // How often the pattern was edited; after the largest int it starts again at 0, and then no array that
    // was built before counts as current.
    int ChangeCount() const;
    // Makes the word array stale; count +1.
    void Touch();

    // True when both hold equal phases in equal order, compared as floats: a NaN is never equal. Neither
    // train nor scale nor label count; see Equals.
    bool operator==(const StimPattern& other) const;

    // --- Amplitude scale: none of these raises the change count ---

    // Sets the amplitude step, microamperes. With rescale every phase keeps its number of steps, rounded to
    // the nearest (halves away from zero; 0 when the old step is 0, and for a NaN), on the new step, within
    // the largest amplitude.
    //
    //     step 1 -> 2, rescale:  3.4 -> 6,  -2.5 -> -6
    void SetAmpStepSize(float stepSize, bool rescale);
    float AmpStepSize() const;  // amplitude step, microamperes
    // Stores the magnitude of ampMax, microamperes, and clamps every phase to it.
    void SetAmpMax(float ampMax);
    float AmpMax() const;  // largest amplitude magnitude, microamperes
    // Changes every phase to a pause of the same length. The words follow after the next counted edit, or Touch.
    void SetAmpsToZero();

    // The nearest whole number of amplitude steps, halves away from zero, at least one step unless amp is 0;
    // not limited to AmpMax. NaN for a step of 0 and an amp other than 0; one positive step for a NaN.
    //
    //     step 10:  14 -> 10,  15 -> 20,  -15 -> -20,  3 -> 10,  0 -> 0
    float NearestAmplitude(float amp) const;

    // The extreme amplitude that sign selects, microamperes; of tied magnitudes Absolute gives the last in
    // the list. NaN amplitudes never win. An empty list gives 0 for Absolute, the largest finite float for
    // Negative and minus that otherwise.
    float MaxAmplitude(Sign sign) const;
    float MaxAmp() const;  // MaxAmplitude(Positive)
    float MinAmp() const;  // MaxAmplitude(Negative)
    // The signed amplitude of the largest magnitude; of tied magnitudes the first in the list. 0 without
    // phases.
    float MaxAbsAmp() const;

    // --- Timing ---

    float PeriodUsec() const;  // the period is the sum of the phase lengths, microseconds
    float Period() const;      // the period in milliseconds
    // Cycles per second; infinite without phases.
    float Frequency() const;
    // Calls the virtual SetPeriod with 1000 / hz milliseconds; returns the frequency then in force.
    float SetFrequency(float hz);

    // The train length in milliseconds.
    float TrainLength() const;
    // Sets the train length, milliseconds, to at least one period. Returns the stored length in microseconds,
    // not milliseconds. Count +1 when the stored value changes. A stored length that is not below the largest
    // finite float, or NaN, makes the pattern continuous.
    float SetTrainLength(float msec);
    // Sets the train length to a whole number of the present periods; 0 and below count as 1. Count +1 when
    // the stored value changes. A later change of the period does not change the train length.
    void SetCycleCount(int cycles);
    // Cycles in the train: the whole number within 0.01 of the train in periods, or else rounded down (up
    // when the pattern kind chose so); at least 1. The largest int for a continuous pattern, without phases,
    // and when the count does not fit.
    //
    //     period 10 ms:  train 25 -> 2,  29.8 -> 2,  29.95 -> 3,  30.05 -> 3
    int CycleCount() const;
    bool IsContinuous() const;  // CycleCount() is the largest int

    // By how much the train exceeds its last whole period, milliseconds; negative when it falls short of the
    // next one by less than 0.01 of a period; 0 when continuous.
    float TrainPeriodMismatch(Stim::ReturnSign how) const;
    // The magnitude of the mismatch as a fraction of the train (not times 100); NaN for a train length of 0.
    float TrainPeriodMismatchPct() const;

    // The period without its silent start and end, milliseconds. Phases of amplitude 0 are left out at the
    // front up to index maxTrim, and at the back from index count - maxTrim on; a maxTrim outside 0..count -
    // 1 means no limit.
    float PeriodTrimmed(int maxTrim) const;
    // When phase index starts within the period, microseconds: 0 for an index of 0 or less, the whole period
    // for one past the list.
    float PhaseStart(int index) const;
    // When the first phase that carries current starts, microseconds; 0 when none does.
    float FirstActiveTime() const;

    // True when other has equal phases, the same cycle count and an equal train length; false for null. The
    // phases of a pattern always equal themselves here, NaN or not.
    bool Equals(StimPattern* other) const;

    // --- Phase editing ---

    // Single-phase edits: AdjustPhases accepts, changes or refuses an edited copy of the list. Return true and
    // raise the count by 1 when the copy replaces the list; otherwise nothing changes. Refused at once: an
    // index without a phase, and for SetPhaseLen a length below 0 or NaN. Amplitudes are clamped to AmpMax, not
    // rounded to steps; lengths are not changed.
    // May throw what AdjustPhases throws, and std::bad_alloc for the one copy; the list is then unchanged.
    bool SetPhaseLen(int i, float len);
    bool SetPhaseAmp(int i, float amp);  // as SetPhaseLen, for the amplitude
    bool SetPhase(int i, phase p);       // as SetPhaseLen, for both

    // Replaces the whole list when the argument passes PhasesValid(phases, MaxCmds()) and differs from the
    // present list; the amplitudes are clamped afterwards; count +1. Otherwise changes nothing, without a
    // message: compare ChangeCount() or the phases to know.
    void SetPhases(std::vector<phase> phases);

    // Raw edits: neither clamped nor validated, to build a list step by step. The next request for words repairs
    // or refuses a list that does not fit. A negative index counts as 0. Return the new number of phases.
    // InsertPhase inserts before phase i; with i past the list nothing is inserted. Count +1 in either case.
    int InsertPhase(int i, float len, float amp);
    int RemovePhase(int i);                 // raw as InsertPhase; count +1 when there was a phase to remove
    void ClearPhases();                     // raw as InsertPhase; count +1 when the list was not empty
    int AppendPhase(float len, float amp);  // raw as InsertPhase, after the last phase; count +1

    // Index of the first phase whose amplitude is not exactly 0 (a NaN is not); -1 when there is none.
    int FirstActivePhase() const;
    int LastActivePhase() const;  // the last such phase; -1 when there is none

    // --- Validation ---

    // Whether the lengths can be cut into time steps, and the words counted for them fit maxCmds stimulation
    // words. A phase that ends inside a time step leaves carried time, which shares the step with the start
    // of the next phase. That step has one word, the junction word. It can have one current only, before or
    // after its split point:
    //
    //     time steps  |---------------|---------------|---------------|---------------|
    //     phases      |####### phase 1 ######|...... phase 2, no current ...|#phase 3#|
    //     carried                     |<--c->|                        |<-d->|
    //     words       |  whole steps  |   junction    |  whole steps  |   junction    |
    //                                 |######|........|               |.....|#########|
    //                                  split point c                   split point d
    //
    // Not valid: a phase of negative or NaN length; an active phase that meets carried time of an active
    // phase; an active phase that meets carried time and ends more than IgnoreUsec before the shared step
    // does. A leftover of at most IgnoreUsec is dropped.
    // The count has a word for the first step of each phase that reaches one, a word for its further steps,
    // and a word for what the last phase leaves of a step. WriteStimCmds can write fewer words, or more: a
    // phase of more than 65535 steps takes further words, and a leftover at the edge of IgnoreUsec can be
    // dropped here and written there. Example: (5.5,0) at T = 5 counts 1 and takes 2.
    // A list without phases is valid when maxCmds is 0 or more.
    //
    //     T = 1 us:  (100,10) counts 2,  (100.7,10)(50,0)(100,-10) counts 7,  (100.7,10)(100.7,-10) fails
    bool PhasesValid(std::vector<phase> phases, int maxCmds) const;

    // --- Words ---
    // The split point of a word has five bits. With time steps above 32.48 us, 33.333332 among them, a split
    // point can be 32 us or more. It is not masked: it changes the flags above it, and from 512 us on the
    // duration (see StimAtom).

    // Encodes one cycle into words, and returns their number, at most maxWords. The words are packed as in
    // StimAtom. Lengths become whole time steps, and what a phase leaves of a step is carried into the next
    // phase:
    //   junction word    one step shared by carried time and the start of a phase; its split point lies where
    //                    the phase starts, in whole microseconds
    //   whole-step word  the further whole steps of a phase, after chunk words of 65535 steps when there are
    //                    more than that
    //   tail word        carried time left after the last phase, in one more step
    // In-pulse is clear in the words of amplitude 0, other than junction words, of the first and the last
    // phase: the leading delay and the trailing pause. Whole-step words that carry current have the
    // amplitude-after-split flag set and split point 0; tail words have it clear. When every amplitude is 0,
    // so are bits 0 to 15 of every word.
    // Returns 0 without phases. Returns -1 when words is null, when the list is not valid under MaxCmds(), when
    // a phase is too short to finish the step that it shares, or when maxWords words are not enough; do not use
    // the words written until then. The pattern does not change.
    //
    //     T = 33.333332 us, step 10 uA:  (200,-300) (210,300)  ->  0x0006A01E 0x0006A09E 0x00018A9E
    int WriteStimCmds(unsigned int* words, int maxWords) const;

    // Brings the word array up to date and copies it to out, word 0 with the cycle count first; returns the
    // number of words: 0 when the last forced rebuild failed and no edit followed. Returns -1, and writes
    // nothing, when out is null or Update fails. The second argument is not used. REQUIRES: room for
    // MaxCmds() + 1 words; MaxWords are always enough.
    int WordArray(unsigned int* out, unsigned int unused);

    // The update cycle: validates the list under MaxCmds(); passes a list that fails to AdjustPhases, which
    // repairs it in place (repairs stay, without a count, even when the repair then fails); rebuilds the array
    // when it is stale. Returns ArrayIsCurrent(). Validates on every call; an array that is current stays
    // current even if an uncounted edit made the list invalid.
    bool Update();
    // Rebuilds the array now, without repair; returns its number of words. On failure returns 0, and the
    // array is lost while ArrayIsCurrent stays as it was.
    int UpdateWordArray();
    // True when the array was built for the present change count.
    bool ArrayIsCurrent() const;
    // The budget of stimulation words, word 0 excluded.
    int MaxCmds() const;

    // Writes word 0: the cycle count, at most 4095 (also when continuous), in bits 0 to 11. False for null.
    bool WriteVekCmd(unsigned int* word) const;

    // While on, bits 0 to 15 of every stimulation word are value; only the durations come from the phases.
    // When either differs from what is set, the array is rebuilt at once, as by UpdateWordArray.
    void SetCmdOverride(bool on, unsigned short value);

    // Writes four fixed words to words[1] to words[4]: a biphasic test pulse of 47 amplitude steps, negative
    // phase first, three time steps per phase and three between, and 4095 time steps at zero. Returns 5, their
    // number with word 0, which is not changed; 0 for null.
    int WriteDebugCmds(unsigned int* words) const;

    // --- Text ---
    // Numbers are read as strtod and strtol read them in the "C" locale, whatever locale the host has set.

    // Appends the pieces of text between delimiters to tokens and returns tokens. Empty pieces are kept only
    // with keepEmpty; none follows a delimiter at the end of the text. Nothing is trimmed.
    //
    //     "a,,b" -> a b       with keepEmpty: a "" b        "a," -> a
    std::vector<std::string>& Split(const std::string& text, char delimiter, std::vector<std::string>& tokens,
                                    bool keepEmpty) const;
    // As the other Split, from an empty list.
    std::vector<std::string> Split(const std::string& text, char delimiter, bool keepEmpty) const;

    // The train duration in milliseconds from a field "name[value]": infinite trains ("inf" or "INF" in the
    // value) give the largest finite float. Appends "invalid train duration specification string [%s]" to
    // errors for a field that is not of this form (0 is returned) and for a value that is not above 0 (it is
    // returned as read: 0 without a number). "Inf" and overflow give infinity.
    float DurationFromStr(std::string field, std::vector<std::string>& errors) const;

    // The phases of a field "(length,amplitude)(length,amplitude)...". Lengths, microseconds, are rounded to
    // whole numbers; amplitudes, microamperes, to whole multiples of ampStepSize (halves away from zero,
    // never to 0). Positive amplitudes are limited to 100 steps; negative ones are not, but their words are.
    // Text without a number reads as 0, and text after a number is ignored. A negative length is read, but no
    // list with one is valid. Changes are reported to warnings, with the item's index:
    //     "Phase[%d]: Number of ADC stim output steps reduced from [%d] to [%d].\n"
    //     "Phase[%d]: Original amplitude [%f uA] is now [%f uA].\n"
    // An item is faulty if it does not have two values (blanks after the last ")" are an item), if its length is
    // NaN or does not fit 32 bits, if its amplitude is not finite or has more steps than fit 32 bits, or if
    // ampStepSize is not positive and finite. It adds no phase and appends to errors:
    //     "Invalid phase specification string: [%s]"
    //
    //     (99.5,3) with a step of 10  ->  (100,10) and a warning
    std::vector<phase> PhasesFromStr(std::string field, float ampStepSize, std::vector<std::string>& errors,
                                     std::vector<std::string>& warnings) const;

 protected:
    // PhasesValid without a copy of the list: for the AdjustPhases of a subclass.
    bool ListValid(const std::vector<phase>& phases, int maxCmds) const;

    // StimPattern's FromString without a copy of the text: for the FromString of a subclass.
    bool ReadSpecification(const std::string& spec, float ampStepSize, std::vector<std::string>& errors,
                           std::vector<std::string>& warnings);

    float m_timeStepUsec;         // time step, microseconds
    float m_param2;               // kept for the host
    float m_param3;               // kept for the host
    float m_ampStepSize;          // amplitude step, microamperes
    float m_ampMax;               // largest amplitude magnitude, microamperes
    float m_trainLengthUsec = 0;  // train length, microseconds; continuous from the largest finite float on
    int m_roundCyclesDown = 1;    // how CycleCount rounds a part of a cycle: not 0 down, 0 up
    int m_reserved = 0;           // not used
    std::string m_label;          // names the pattern
    unsigned int m_wordArray[MaxWords] = {};  // word 0 the cycle count, then the words of one cycle
    int m_maxCmdCount;                        // command budget, word 0 included
    int m_wordCount = 0;                      // valid words in m_wordArray
    int m_changeCount = 0;                    // raised by every edit
    int m_updateCount = 0;                    // builds started
    int m_arrayChangeCount = NeverBuilt;      // m_changeCount at the last successful build
    bool m_cmdOverride = false;               // command override on
    unsigned short m_cmdOverrideValue = 0;    // bits 0 to 15 of every stimulation word while it is on
    std::vector<phase> m_phases;              // in playing order

 private:
    friend class ContinuedItemPlay;

    // No change count.
    static constexpr int NeverBuilt = -1;

    void RaiseChangeCount();
    bool OfferPhase(int i, phase p);
    void StoreTrainLength(float lengthUsec);
    // WordArray into a buffer of any alignment.
    int CopyWords(void* out);
    // UpdateWordArray and WriteStimCmds; valid: the phases have just been validated.
    int BuildWordArray(bool valid);
    int WriteWords(unsigned int* words, int maxWords, bool valid) const;
};
