// The stub's answers from a short Node program: parses a line and writes the answers.
const { randomUUID } = require("node:crypto");
const { writeSync } = require("node:fs");
const { createInterface } = require("node:readline");

const emit = (name, record) => {
  let rest = Buffer.from(JSON.stringify({ [name]: { _0: record } }) + "\n");
  while (rest.length > 0) {
    rest = rest.subarray(writeSync(1, rest));
  }
};
const report = (state) => emit("stateChanged", { state });

emit("hello", { bridgeVersion: "managed-process-3", platform: "whatsapp" });
report({ disconnected: {} });
createInterface({ input: process.stdin }).on("line", (line) => {
  const request = JSON.parse(line);
  if (request.connect) {
    report({ connecting: {} });
    report({ connected: { accountDisplayName: "Node" } });
  } else if (request.sendMessage) {
    const { conversationId, text } = request.sendMessage._0.message;
    emit("inboundEvent", {
      event: {
        conversationId,
        conversationTitle: "Managed Bridge Echo",
        isDirectMessage: false,
        messageId: randomUUID().toUpperCase(),
        rawReference: "managed-bridge-echo",
        senderDisplayName: "Ferncrest Managed Bridge",
        senderId: "managed-bridge-echo",
        text: `echo: ${text}`,
        timestampISO8601: new Date().toISOString().slice(0, 19) + "Z",
      },
    });
  }
});
