// What a harness demands: a broken demand is told on the real standard error and ends the program, so that libFuzzer
// keeps the input and a replay fails.
#pragma once

namespace Fuzz {

[[noreturn]] void Fail(const char* demand, const char* file, int line);

}  // namespace Fuzz

#define FUZZ_CHECK(condition) ((condition) ? void() : Fuzz::Fail(#condition, __FILE__, __LINE__))
