#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace TravikTest {

/// Reads what is added to a log file, as records with time and line masked:
/// "[INFO] (Travik::VBox::findMachine) # vm1". What is not laid out as a record comes out as it stands in the file.
class LogReader
{
public:
    explicit LogReader(const std::filesystem::path& path) : path_(path) {}

    /// The records since the last call.
    std::vector<std::string> take();

    /// The same, and in lines the source line that each of them shows.
    std::vector<std::string> take(std::vector<int>& lines);

    /// The bytes since the last call.
    std::string takeBytes();

    /// Passes over what the file holds so far.
    void skip();

private:
    std::filesystem::path path_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{nullptr, std::fclose};
};

/// A text as the log file shows it: what is not ASCII is escaped.
std::string logged(const std::wstring& text);

/// A record, for comparison with those of the reader.
std::string record(const char* level, const std::wstring& function, const std::wstring& text);

} // namespace TravikTest
