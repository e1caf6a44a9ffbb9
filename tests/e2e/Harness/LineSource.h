// Lines that appear while a test looks on: what a process prints, and its log.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

constexpr std::chrono::seconds kPatience{20};

// Whether the line is the wanted one, in which each "{}" stands for any text.
bool IsLine(std::string_view line, std::string_view wanted);

// A position is a number of lines: what a search skips at the beginning.
class LineSource {
public:
    explicit LineSource(std::string name) : mName(std::move(name)) {}
    virtual ~LineSource() = default;
    LineSource(const LineSource&) = delete;
    LineSource& operator=(const LineSource&) = delete;

    // The whole lines so far, oldest first, without their ends.
    virtual std::vector<std::string> Lines() const = 0;

    std::size_t Position() const { return Lines().size(); }
    std::size_t Count(std::string_view wanted, std::size_t from = 0) const;
    bool Has(std::string_view wanted, std::size_t from = 0) const { return Count(wanted, from) != 0; }

    // Waits until the line has appeared `count` times. Throws std::runtime_error when it does not.
    void Await(std::string_view wanted, std::size_t from = 0, std::size_t count = 1,
               std::chrono::milliseconds limit = kPatience) const;
    // The same for several lines, in that order, other lines in between or not.
    void AwaitInOrder(const std::vector<std::string>& wanted, std::size_t from = 0) const;

private:
    std::string mName;
};
