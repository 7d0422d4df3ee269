#pragma once

#include <optional>
#include <string>

#include "Deviations.h"

// The most that a check lets pass.
struct Limits
{
    std::optional<double> netChargeNc;  // magnitude of the net charge played in a cycle
    std::optional<double> errorUsec;    // magnitude of the error of the start of a phase
};

// What a check says of one pattern; valid as long as the stimulator and the reading.
struct CheckReport
{
    const Stimulator& stimulator;
    const Reading& reading;
    std::optional<Deviations> deviations;  // of a pattern with words,
    std::optional<Refusal> refusal;        // or why there are none
    bool netChargeExceeded = false;
    bool errorExceeded = false;

    bool Good() const { return deviations && !netChargeExceeded && !errorExceeded; }
};

CheckReport ReportOn(const Stimulator& stimulator, const Reading& reading, const Limits& limits);

void PrintTable(Output& output, const CheckReport& report);

// One line, an object with these keys; numbers that are infinite or unknown are null.
//
//     place, text                        where the specification string stands, and the string
//     errors, warnings                   messages, arrays; absent when there are none
//     encoded                            it gives words
//
// when encoded:
//     words, budget_words                word 0 included
//     continuous                         true for an infinite train; the keys of the train are null
//     period_asked_us, period_played_us, period_error_us
//     frequency_asked_hz, frequency_played_hz
//     cycles_asked, cycles_played
//     train_asked_ms, train_played_ms
//     positive_charge_asked_nc, positive_charge_played_nc, and so negative_charge and net_charge: one cycle
//     train_net_charge_asked_nc, train_net_charge_played_nc
//     largest_error_us, largest_error_phase      of the starts of the phases
//     net_charge_exceeded, error_exceeded        the limits of the command
//     phases      array of objects: start_asked_us, start_played_us, start_error_us, gained_us (counts rounded
//                 up, or leftovers dropped), and the stages asked, read, clamped, balanced and played, each an
//                 object of length_us and amplitude_ua; of the middle three only those that changed something
//     deviations  array of objects: cause, phase (null for the pattern), phases (how many have it, from that
//                 one on), by_us, largest_us (of what adds up), by_ua, notable, text
//
// otherwise:
//     refusal     object: text, phase, meets_phase, carried_us; null where it is not a meeting of phases
//     adjusted    of a Lilly pattern that holds the list: fits, phases, text; absent for plain patterns
void PrintJson(Output& output, const CheckReport& report);
