#pragma once

// The exit statuses of every command.
enum ExitStatus : int
{
    ExitDone = 0,    // every pattern was handled, none with a finding
    ExitFailed = 1,  // one or more patterns failed, the others were handled
    ExitUsage = 2,   // the request itself cannot be carried out: usage, files, missing programs
};
