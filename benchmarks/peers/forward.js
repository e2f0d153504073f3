// Forwards each line with one write, as soon as it has arrived.
const { readSync, writeSync } = require("node:fs");

const writeAll = (bytes) => {
  while (bytes.length > 0) {
    bytes = bytes.subarray(writeSync(1, bytes));
  }
};

const buffer = Buffer.alloc(1 << 17);
let parts = [];
for (;;) {
  const chunk = buffer.subarray(0, readSync(0, buffer));
  if (chunk.length === 0) {
    break;
  }
  let begin = 0;
  for (let end = chunk.indexOf(10); end >= 0; end = chunk.indexOf(10, begin)) {
    writeAll(Buffer.concat([...parts, chunk.subarray(begin, end + 1)]));
    parts = [];
    begin = end + 1;
  }
  parts.push(Buffer.from(chunk.subarray(begin)));
}
