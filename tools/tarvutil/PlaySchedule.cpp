#include <algorithm>
#include <initializer_list>

#include "Events.h"
#include "Fault.h"
#include "Json.h"
#include "Messages.h"
#include "NumberFormat.h"
#include "Play.h"
#include "Schedule.h"
#include "Sentences.h"

using namespace preview;

namespace {

class SchedulePlayer
{
 public:
    explicit SchedulePlayer(const PlayOptions& options)
        : m_options(options), m_schedule(options.profile.stimulator), m_report(options.profile.stimulator)
    {}

    int Run()
    {
        ForEachLine(*m_options.input.reader,
                    [this](const Place& place, std::string_view line) { Add(place, line); });
        if (m_schedule.Endless() && !m_options.untilMsec)
            throw Fault(m_options.schedule + " has a train without end: give --until MSEC");
        if (m_status != ExitDone || !WithinLimits()) return ExitFailed;
        if (m_options.untilMsec) PrintCutTrains(*m_options.untilMsec);
        if (m_options.format == "events") {
            WriteEvents(m_options.output, EventsOf(m_schedule, m_options.untilMsec));
            return ExitDone;
        }
        PrintCommands();
        m_output.Finish();
        return ExitDone;
    }

 private:
    void Add(const Place& place, std::string_view text)
    {
        ScheduleLine line;
        const std::string fault = ReadScheduleLine(text, line);
        if (!fault.empty()) return Refuse(place, fault);
        // Known texts were reported on: equal lines in a row cost no second reading.
        if (!m_read || m_report.encoding.asked.text != line.text) {
            ReportOn(line.text, m_options.profile.limits,
                     m_options.lenient ? Reading::Lenient : Reading::Strict, m_report);
            PrintMessages(m_output, place, m_report);
            m_read = true;
        }
        if (!m_report.WithinLimits()) {
            RefuseExcesses(m_output, m_options.format == "json", place, m_report);
            m_status = ExitFailed;
            return;
        }
        const std::string trainFault = ScheduleFault(m_report);
        if (!trainFault.empty()) return Refuse(place, trainFault);
        m_schedule.Add(place.number, line, m_report);
    }

    void Refuse(const Place& place, const std::string& fault)
    {
        m_status = ExitFailed;
        PrintMessage(m_output, place, fault);
    }

    bool WithinLimits()
    {
        if (m_schedule.Trains().empty()) {
            PrintMessage(m_options.schedule + ": no trains");
            return false;
        }
        if (const std::optional<Overlap> overlap = m_schedule.FindOverlap()) {
            Refuse({m_options.schedule, overlap->later.number}, Sentence(*overlap, "line"));
            return false;
        }
        if (m_options.format == "events" && !m_options.profile.limits.maxTotalUa) return true;
        m_total = m_schedule.Total(m_options.untilMsec);
        if (!m_options.profile.limits.maxTotalUa ||
            m_total.magnitude.ua <= *m_options.profile.limits.maxTotalUa)
            return true;
        PrintMessage(m_options.schedule + ": " + Sentence(m_total, *m_options.profile.limits.maxTotalUa));
        return false;
    }

    void PrintCutTrains(std::int64_t untilMsec)
    {
        for (const ScheduledTrain& train : m_schedule.Trains())
            if (const std::string sentence = CutSentence(train, untilMsec); !sentence.empty())
                PrintMessage(m_output, {m_options.schedule, train.number}, sentence);
    }

    // Columns of a fixed width: the table is printed as it is made.
    void PrintRow(std::initializer_list<std::string> cells)
    {
        constexpr std::size_t Width = 13;
        std::string row;
        for (const std::string& cell : cells)
            row += "  " + cell + std::string(Width - std::min(Width, cell.size()), ' ');
        row.erase(row.find_last_not_of(' ') + 1);
        m_output.Write(row + "\n");
    }

    void PrintCommands()
    {
        const bool json = m_options.format == "json";
        std::size_t commands = 0;
        if (!json) PrintRow({"sent ms", "due ms", "channel", "cycles", "cycles left", "line"});
        m_schedule.Play(m_options.host, m_options.untilMsec, [&](const ScheduledCommand& command) {
            ++commands;
            if (json)
                m_output.Write(CommandJson(command, Place{m_options.schedule, command.number}.Text()) + "\n");
            else
                PrintRow({std::to_string(command.sentMsec), std::to_string(command.dueMsec),
                          std::to_string(command.channel), std::to_string(command.cycles),
                          command.cyclesLeft < 0 ? "continuous" : std::to_string(command.cyclesLeft),
                          std::to_string(command.number)});
        });
        if (json)
            m_output.Write(TotalJson(commands, m_total) + "\n");
        else
            m_output.Write("  total: " + std::to_string(commands) +
                           (commands == 1 ? " command" : " commands") + "; largest current of all " +
                           "channels " + Rounded(m_total.magnitude.ua) + " uA at " +
                           Rounded(m_total.magnitude.atMsec) + " ms, net " + Rounded(m_total.net.ua) +
                           " uA at " + Rounded(m_total.net.atMsec) + " ms\n");
    }

    const PlayOptions& m_options;
    Schedule m_schedule;
    Report m_report;      // on the text of the last line
    bool m_read = false;  // there is one
    TotalCurrent m_total;
    Output m_output;
    int m_status = ExitDone;
};

}  // namespace

int PlaySchedule(const PlayOptions& options)
{
    return SchedulePlayer(options).Run();
}
