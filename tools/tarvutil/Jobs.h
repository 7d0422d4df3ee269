#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Fault.h"
#include "Input.h"
#include "Output.h"

// Lines in several threads. Blocks of lines are read and printed in their order by the thread that calls; other threads
// do the work between. Results, messages and faults are those of one thread, and so is the memory but for a few blocks.

// The threads of a command, as --jobs gives them.
struct Jobs
{
    int count = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
};

// Result: what visit returns for a line.
template <typename Result, typename Visit>
class LineJobs
{
 public:
    // makeVisit() makes the visit(Output&, Place, std::string_view) of one thread. take(Place, Result) is called by this
    // thread, in the order of the lines.
    template <typename MakeVisit, typename Take>
    static void Run(FileReader& file, const Jobs& jobs, Output& output, MakeVisit makeVisit, Take take)
    {
        LineJobs lines(file, jobs, output);
        lines.m_makeVisit = makeVisit;
        lines.m_take = take;
        lines.ReadAll();
    }

 private:
    struct Line
    {
        std::size_t number, begin, size;
    };

    struct Block
    {
        explicit Block(const Output& whole) : output(whole, Output::Part()) {}

        std::string text;
        std::vector<Line> lines;
        std::vector<Result> results;
        Output output;
        std::exception_ptr fault;  // after the last result
        bool done = false;

        void Clear()
        {
            text.clear();
            lines.clear();
            results.clear();
            output.Clear();
            done = false;
        }
    };

    LineJobs(FileReader& file, const Jobs& jobs, Output& output)
        : m_file(file),
          m_path(file.Where().path),
          m_jobs(static_cast<std::size_t>(jobs.count)),
          m_output(output)
    {}

    ~LineJobs()
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_waiting.clear();
            m_ended = true;
        }
        m_changed.notify_all();
        for (std::thread& thread : m_threads) thread.join();
    }

    void ReadAll()
    {
        m_file.BeforeReading([this] {
            Finish();
            m_output.Flush();
        });
        try {
            ForEachLine(m_file, [this](const Place& place, std::string_view text) { Add(place, text); });
        } catch (const Fault&) {
            // If it is one of the file, the lines before it come first.
            if (!m_printing) Finish();
            throw;
        }
        Finish();
    }

    void Add(const Place& place, std::string_view text)
    {
        constexpr std::size_t BlockSize = 32 * 1024;
        if (m_block == nullptr) m_block = EmptyBlock();
        m_block->lines.push_back({place.number, m_block->text.size(), text.size()});
        m_block->text += text;
        if (m_block->text.size() < BlockSize) return;
        if (m_threads.size() < m_jobs) m_threads.emplace_back([this] { Work(); });
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_waiting.push_back(m_block.get());
        }
        m_changed.notify_all();
        m_blocks.push_back(std::move(m_block));
        if (m_blocks.size() > 2 * m_jobs) PrintFirst();
    }

    // A used one if there is one: its memory is at hand, while new memory comes from the system page by page.
    std::unique_ptr<Block> EmptyBlock()
    {
        if (m_used.empty()) return std::make_unique<Block>(m_output);
        std::unique_ptr<Block> block = std::move(m_used.back());
        m_used.pop_back();
        block->Clear();
        return block;
    }

    // All lines that were read.
    void Finish()
    {
        while (!m_blocks.empty()) PrintFirst();
        if (m_block == nullptr) return;
        if (m_visit == nullptr) m_visit = std::make_unique<Visit>(m_makeVisit());
        Visits(*m_visit, *m_block);
        m_block->done = true;
        m_blocks.push_back(std::move(m_block));
        PrintFirst();
    }

    void PrintFirst()
    {
        m_printing = true;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [this] { return m_blocks.front()->done; });
        }
        std::unique_ptr<Block> block = std::move(m_blocks.front());
        m_blocks.pop_front();
        m_output.Append(block->output);
        for (std::size_t i = 0; i < block->results.size(); ++i)
            m_take(Place{m_path, block->lines[i].number}, block->results[i]);
        if (block->fault) std::rethrow_exception(block->fault);
        m_used.push_back(std::move(block));
        m_printing = false;
    }

    void Visits(const Visit& visit, Block& block) const
    {
        try {
            for (const Line& line : block.lines)
                block.results.push_back(visit(block.output, Place{m_path, line.number},
                                              std::string_view(block.text).substr(line.begin, line.size)));
        } catch (...) {
            block.fault = std::current_exception();
        }
    }

    void Work()
    {
        std::unique_ptr<Visit> visit;
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return m_ended || !m_waiting.empty(); });
            if (m_waiting.empty()) return;
            Block& block = *m_waiting.front();
            m_waiting.pop_front();
            lock.unlock();
            if (visit == nullptr) visit = std::make_unique<Visit>(m_makeVisit());
            Visits(*visit, block);
            lock.lock();
            block.done = true;
            m_changed.notify_all();
        }
    }

    FileReader& m_file;
    const std::string_view m_path;
    const std::size_t m_jobs;
    Output& m_output;
    std::function<Visit()> m_makeVisit;
    std::function<void(const Place&, const Result&)> m_take;
    std::unique_ptr<Visit> m_visit;               // of the calling thread
    std::unique_ptr<Block> m_block;               // that is filled
    std::deque<std::unique_ptr<Block>> m_blocks;  // that were filled, in their order
    std::vector<std::unique_ptr<Block>> m_used;   // that were printed
    bool m_printing = false;                      // stays so after a fault

    std::mutex m_mutex;
    std::condition_variable m_changed;  // a block waits or is done, or all has ended
    std::deque<Block*> m_waiting;
    bool m_ended = false;
    std::vector<std::thread> m_threads;
};

// Calls visit for each line in one thread or several, and take for each result in the order of the lines.
template <typename Result, typename MakeVisit, typename Take>
void ForEachLineInJobs(FileReader& file, const Jobs& jobs, Output& output, MakeVisit makeVisit, Take take)
{
    using Visit = decltype(makeVisit());
    if (jobs.count > 1) return LineJobs<Result, Visit>::Run(file, jobs, output, makeVisit, take);
    Visit visit = makeVisit();
    file.BeforeReading([&output] { output.Flush(); });
    ForEachLine(file,
                [&](const Place& place, std::string_view text) { take(place, visit(output, place, text)); });
}
