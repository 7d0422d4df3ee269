#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

// Where results go: standard output, or a file that takes its name only when it is complete.
class Output
{
 public:
    // path "-", or "", is standard output, and so is a name of the file that standard output writes to. A new regular
    // file is written under another name beside it and renamed by Finish, so that its name never has a part of a file;
    // devices and pipes are written directly. Throws Fault, as the operations do, when it cannot be written.
    explicit Output(const std::string& path = {});
    // Collects what Append adds to the whole later, and writes nothing.
    struct Part
    {
    };
    Output(const Output& whole, Part /*part*/);
    // Removes a file that Finish has not renamed. Writes collected results to standard output.
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    bool IsTerminal() const;
    // Results and messages are read on the same terminal.
    bool IsMessageTerminal() const;

    // Results are collected, and written when there are many, and by Flush.
    void Write(std::string_view text)
    {
        m_buffer.append(text);
        if (m_buffer.size() >= FlushSize) Flush();
    }
    // The collected results: append to it, then call Written.
    std::string& Buffer() { return m_buffer; }
    void Written()
    {
        if (m_buffer.size() >= FlushSize) Flush();
    }
    // A message for the user, a line for standard error in pieces. Messages are collected like results, and where
    // both end in one terminal or pipe they stay in their order.
    void Message(std::initializer_list<std::string_view> line)
    {
        for (const std::string_view piece : line) (m_oneStream ? m_buffer : m_messages).append(piece);
        if (m_messages.size() >= FlushSize) FlushMessages();
        Written();
    }
    // Adds what a part has collected.
    void Append(const Output& part);
    // Forgets what was collected.
    void Clear()
    {
        m_buffer.clear();
        m_messages.clear();
    }
    void Flush();
    void Finish();
    // Finish where results are missing: a new file does not take its name, with a message. What had that name stays.
    void FinishIncomplete();

 private:
    void FlushMessages();
    void WriteResults(const std::string& results);

    static constexpr std::size_t FlushSize = 64 * 1024;

    const std::string m_path;
    std::string m_temporary;  // empty when there is none
    int m_fd;
    std::string m_buffer;
    std::string m_messages;
    bool m_oneStream;  // standard error ends where the results do
    bool m_isPart = false;
};

// Thrown when the reader of standard output has closed it. This is not a fault: the rest is not needed.
struct ReaderGone
{
};
