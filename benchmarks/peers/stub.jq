# The stub's answers from a jq program (jq -n -c --unbuffered -f).
def report: {stateChanged: {_0: {state: .}}};
def echoed: {inboundEvent: {_0: {event: {
  conversationId, conversationTitle: "Managed Bridge Echo", isDirectMessage: false,
  messageId: "00000000-0000-4000-8000-000000000000", rawReference: "managed-bridge-echo",
  senderDisplayName: "Ferncrest Managed Bridge", senderId: "managed-bridge-echo",
  text: "echo: \(.text)", timestampISO8601: (now | todate)}}}};

{hello: {_0: {bridgeVersion: "managed-process-3", platform: "whatsapp"}}},
({disconnected: {}} | report),
(inputs
 | if .connect then
     ({connecting: {}}, {connected: {accountDisplayName: "jq"}}) | report
   elif .sendMessage then
     .sendMessage._0.message | echoed
   else empty end)
