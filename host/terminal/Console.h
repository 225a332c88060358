#pragma once

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace w64 {

// UTF-8 text with a question mark for each control character, which a hostile file may contain.
std::string Visible(std::string_view text);

// The same for each line of a text, with the second and later ones indented.
std::string VisibleLines(const std::string& text, size_t indent);

// Standard error as a person sees it: messages, and below them a status line that is redrawn while work goes on.
// Threads: any.
class Console {
public:
    struct Options {
        bool quiet = false;       // show errors only
        bool statusLine = false;  // on a terminal
    };
    explicit Console(Options options);
    Console(const Console&) = delete;  // there is one standard error
    Console& operator=(const Console&) = delete;
    ~Console();

    // "w64: subject: message", both made Visible; a message of several lines is several messages.
    void Error(const std::string& subject, std::string_view message);
    void Note(const std::string& subject, std::string_view message);

    // Notes about `subject` wait from HoldNotes to ReleaseNotes, so that notes about files that are worked on at once are
    // shown in the order of the files. Calls nest, as a file may be named twice.
    void HoldNotes(const std::string& subject);
    void ReleaseNotes(const std::string& subject);

    // Shows `name` instead of that of a file, here and wherever NameOf is asked. To be called before the work.
    void Rename(std::string file, std::string name);
    std::string NameOf(const std::string& file) const;

    // The outcome of some work; on a terminal only.
    void Summary(std::string_view subject, std::string_view text);

    bool HasStatusLine() const { return statusLine_; }
    void ShowStatus(const std::string& line);
    void ClearStatus();
    bool IsQuiet() const { return quiet_; }
    static size_t Columns();

private:
    struct Held {
        int times = 0;
        std::vector<std::string> notes;
    };

    void Print(const std::string& subject, std::string_view message);
    void EraseStatus();

    std::map<std::string, std::string> names_;
    std::mutex access_;
    std::map<std::string, Held> held_;
    bool quiet_;
    bool statusLine_;
    bool statusShown_ = false;
};

}  // namespace w64
