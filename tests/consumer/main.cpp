#include "protocol/coding.h"
#include "protocol/line_reader.h"

// A program on the installed library: succeeds when its input starts with a message.
int main() {
  ferncrest::LineReader input(0);
  const auto line = input.next();
  return line && ferncrest::decodeEnvelope(line->text()) ? 0 : 1;
}
