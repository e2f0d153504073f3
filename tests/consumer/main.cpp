#include "platform/io.h"
#include "protocol/coding.h"
#include "protocol/line_buffer.h"

// A program on the installed library: succeeds when its input starts with a message.
int main() {
  ferncrest::LineBuffer input;
  input.add(ferncrest::readSome(0, input.room()).value_or(0));
  const auto line = input.next();
  return line && ferncrest::decodeEnvelope(line->text()) ? 0 : 1;
}
