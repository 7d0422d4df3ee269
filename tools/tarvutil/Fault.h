#pragma once

#include <stdexcept>

// A request that cannot be carried out. Ends the program with ExitUsage and one message.
class Fault : public std::runtime_error
{
 public:
    using std::runtime_error::runtime_error;
};
