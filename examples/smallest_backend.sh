#!/bin/sh
# The smallest backend: sends hello, connects and echoes messages. Needs jq.
exec jq -nRc --unbuffered 'env.FERNCREST_MANAGED_BRIDGE_PLATFORM as $platform |
  {hello: {_0: {$platform, bridgeVersion: "smallest-1"}}},
  (inputs | (fromjson | select(any(.[]; ._0?.platform? == $platform)) |
    if .connect then {stateChanged: {_0: {state: {connected: {}}}}}
    elif .sendMessage then {inboundEvent: {_0: {event: (.sendMessage._0.message |
      {conversationId, text, messageId: "\(now)", conversationTitle: "Echo", senderId: "echo",
       senderDisplayName: "Echo", timestampISO8601: (now | todate), isDirectMessage: false})}}}
    else empty end)?)'
