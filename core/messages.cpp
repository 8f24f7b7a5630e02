// The numbered messages, and their one way out: standard error.
#include "core/export.h"
#include "orv/core.h"

#include <cstdarg>
#include <cstdio>
#include <iterator>

namespace {
// How the arguments of a message are to be taken.
enum class Arguments { none, name, name_index, index_value };

struct Message {
  int number;
  Arguments arguments;
  const char* text;
};

constexpr Message messages[] = {
    {748, Arguments::name_index, "orv: %s: argument %d is not valid\n"},
    {749, Arguments::name, "orv: %s: memory that was given cannot be accessed\n"},
    {750, Arguments::name, "orv: %s: argument outside the domain of the function\n"},
    {751, Arguments::name, "orv: %s: pole of the function, the result is infinite\n"},
    {752, Arguments::name, "orv: %s: overflow, the result is too large\n"},
    {753, Arguments::name, "orv: %s: underflow, the result is too small\n"},
    {754, Arguments::name, "orv: %s: unknown error\n"},
    {755, Arguments::index_value, "orv:   element %d: argument %.17g\n"},
    {756, Arguments::index_value, "orv:   element %d: result %.17g\n"},
    {757, Arguments::index_value, "orv:   element %d: argument %.17g\n"},
    {758, Arguments::index_value, "orv:   element %d: first result %.17g\n"},
    {759, Arguments::index_value, "orv:   element %d: second result %.17g\n"},
    {760, Arguments::index_value, "orv:   element %d: first argument %.17g\n"},
    {761, Arguments::index_value, "orv:   element %d: second argument %.17g\n"},
    {762, Arguments::index_value, "orv:   element %d: result %.17g\n"},
    {763, Arguments::index_value, "orv:   element %d: first argument %.17g\n"},
    {764, Arguments::index_value, "orv:   element %d: second argument %.17g\n"},
    {765, Arguments::index_value, "orv:   element %d: first result %.17g\n"},
    {766, Arguments::index_value, "orv:   element %d: second result %.17g\n"},
    {773, Arguments::none, "orv: no memory for the state of a thread\n"},
};
} // namespace

ORV_CORE_EXPORT void orv_serv_print(int, int number, int count, ...) {
  for (Message const& message : messages) {
    if (message.number != number) continue;
    constexpr int wanted[] = {0, 1, 2, 2};
    if (count != wanted[static_cast<int>(message.arguments)]) break;
    va_list arguments;
    va_start(arguments, count);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::vfprintf(stderr, message.text, arguments);
#pragma GCC diagnostic pop
    va_end(arguments);
    return;
  }
  std::fprintf(stderr, "orv: message %d with %d arguments\n", number, count);
}
