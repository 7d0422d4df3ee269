#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "Operations.h"

namespace bench {

// The figures of one run, and the tables made from them.
class Figures
{
 public:
    static std::string Key(const std::string& name, const std::string& subject)
    {
        return name + " | " + subject;
    }

    // Nanoseconds; the shortest of several times counts.
    void Add(const std::string& key, double time);

    // Each line is a key, a tab and a number.
    void ReadInstructions(const std::string& path);

    // Writes table.md, targets.md and phases.tsv. False if one cannot be written.
    bool Write(const std::string& directory) const;

 private:
    double Time(const std::string& name, const std::string& subject) const;
    double FloorOf(const Operation& operation, FloorKind chain) const;
    double Ratio(const Operation& operation, FloorKind chain = FloorKind::Chain) const;
    std::string Instructions(const Operation& operation) const;

    void WriteTable(std::ostream& out) const;
    void WriteTargets(std::ostream& out) const;
    void WriteLinear(std::ostream& out) const;
    void WritePhases(std::ostream& out) const;

    std::map<std::string, double> m_times;
    std::map<std::string, std::string> m_instructions;
};

}  // namespace bench
