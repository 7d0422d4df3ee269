#include "PatternCommand.h"

int ForEachReading(const PatternOptions& options, Output& output,
                   const std::function<bool(const Reading&)>& handle)
{
    Reader reader(options.stimulator);
    int status = ExitDone;
    ForEachText(
        options.input, [&output] { output.Flush(); },
        [&](const Place& place, std::string_view text) {
            const Reading& reading = reader.Read(place, text);
            SayMessages(output, reading);
            if (!handle(reading)) status = ExitFailed;
        });
    output.Finish();
    return status;
}
