#include "Schedule.h"

#include <optional>

#include "Events.h"
#include "Handles.h"
#include "Json.h"
#include "Sentences.h"

using namespace capi;

struct tarvutil_schedule
{
    explicit tarvutil_schedule(const preview::Profile& p)
        : stimulator(p.stimulator), limits(p.limits), schedule(p.stimulator)
    {}

    const preview::Stimulator stimulator;
    const preview::Limits limits;
    preview::Schedule schedule;
    std::size_t trains = 0;
    // The last result, and what it was asked for with: whoever asks for its size asks again for the text.
    std::string json;
    int32_t pollMsec = 0;
    std::optional<std::int64_t> untilMsec;
    std::string error;
};

namespace {

std::optional<std::int64_t> Until(tarvutil_schedule& s, int64_t until_ms)
{
    Check(until_ms >= -1, "until_ms: below -1");
    Check(s.trains > 0, "the schedule has no trains");
    Check(until_ms >= 0 || !s.schedule.Endless(), "until_ms: a train without end needs it");
    if (const std::optional<preview::Overlap> overlap = s.schedule.FindOverlap())
        throw Error{TARVUTIL_REFUSED, Sentence(*overlap, "number")};
    const std::optional<std::int64_t> until =
        until_ms < 0 ? std::nullopt : std::optional<std::int64_t>(until_ms);
    if (s.limits.maxTotalUa) {
        const preview::TotalCurrent total = s.schedule.Total(until);
        if (total.magnitude.ua > *s.limits.maxTotalUa)
            throw Error{TARVUTIL_REFUSED, Sentence(total, *s.limits.maxTotalUa)};
    }
    return until;
}

}  // namespace

tarvutil_schedule* tarvutil_schedule_new(const tarvutil_stimulator* stimulator, char* reason,
                                         int32_t capacity)
{
    return New(reason, capacity, [&] {
        if (stimulator == nullptr) throw Error{TARVUTIL_NULL_HANDLE, "the stimulator is null"};
        CheckArea(stimulator->profile.limits);
        return new tarvutil_schedule(stimulator->profile);
    });
}

int32_t tarvutil_schedule_free(tarvutil_schedule* schedule)
{
    delete schedule;
    return TARVUTIL_OK;
}

int32_t tarvutil_schedule_error(const tarvutil_schedule* schedule, char* text, int32_t capacity)
{
    return PutError(schedule, text, capacity);
}

int32_t tarvutil_schedule_add(tarvutil_schedule* schedule, int32_t channel, int64_t start_ms,
                              const char* text, int32_t length, int32_t lenient)
{
    return On(schedule, [&](tarvutil_schedule& s) {
        const preview::ScheduleLine line{channel, start_ms, Text(text, length)};
        Check(channel >= 0 && channel <= preview::MaxChannel, "channel: not from 0 to 1000000");
        Check(start_ms >= 0 && start_ms <= preview::MaxStartMsec(), "start_ms: not from 0 to 1000000000000");
        preview::Report report(s.stimulator);
        ReportOn(line.text, s.limits, lenient != 0 ? preview::Reading::Lenient : preview::Reading::Strict,
                 report);
        NeedWords(report);
        if (!report.WithinLimits()) throw Error{TARVUTIL_REFUSED, ExcessSentences(report.excesses).front()};
        const std::int32_t number = Count(s.trains);
        if (std::string fault = ScheduleFault(report); !fault.empty())
            throw Error{TARVUTIL_REFUSED, std::move(fault)};
        s.schedule.Add(s.trains, line, report);
        ++s.trains;
        s.json.clear();
        return number;
    });
}

int32_t tarvutil_schedule_json(tarvutil_schedule* schedule, int32_t poll_ms, int64_t until_ms, char* text,
                               int32_t capacity)
{
    return On(schedule, [&](tarvutil_schedule& s) {
        constexpr std::int32_t MostMsec = 1000000;
        Check(poll_ms >= 1 && poll_ms <= MostMsec, "poll_ms: not from 1 to 1000000");
        const std::optional<std::int64_t> until = Until(s, until_ms);
        if (s.json.empty() || s.pollMsec != poll_ms || s.untilMsec != until) {
            preview::Host host;
            host.pollMsec = poll_ms;
            s.json = ScheduleJson(s.schedule, host, until);
            s.pollMsec = poll_ms;
            s.untilMsec = until;
        }
        return Put(s.json, text, capacity);
    });
}

int32_t tarvutil_schedule_events(tarvutil_schedule* schedule, int64_t until_ms, char* text, int32_t capacity)
{
    return On(schedule, [&](tarvutil_schedule& s) {
        return Put(EventsOf(s.schedule, Until(s, until_ms)), text, capacity);
    });
}
