# shellcheck shell=bash
# The programs, what is sent to them and what they answer, and the settings that launch the service
# with or without a backend.
# shellcheck disable=SC2154,SC2034

launch_as_stub() { export FERNCREST_MANAGED_BRIDGE_DISABLE_BACKEND=1; }

launch_with_backend() {
  unset FERNCREST_MANAGED_BRIDGE_DISABLE_BACKEND
  export FERNCREST_MANAGED_BRIDGE_BACKEND_PATH=$backend
  export FERNCREST_MANAGED_BRIDGE_DATA_DIR=$workspace/data
}

peers=benchmarks/peers
backend=$binaries/benchmark_backend
responder=$binaries/benchmark_constant_responder
simdjson_responder=$binaries/benchmark_simdjson_responder
relay=$binaries/benchmark_relay
duplex_relay=$binaries/benchmark_duplex_relay
splice_relay=$binaries/benchmark_splice_relay
forwarder=$binaries/benchmark_line_forwarder

connecting='{"stateChanged":{"_0":{"state":{"connecting":{}}}}}'$'\n'
connected='{"stateChanged":{"_0":{"state":{"connected":{"accountDisplayName":"Ferncrest Managed Bridge (stub)"}}}}}'$'\n'
text=$(printf 'm%.0s' {1..200})
echoed='{"inboundEvent":{"_0":{"event":{"conversationId":"c","conversationTitle":"Managed Bridge Echo","isDirectMessage":false,"messageId":"6F1C2A4E-9B3D-4C8A-8E21-5D7F0B9A3C64","rawReference":"managed-bridge-echo","senderDisplayName":"Ferncrest Managed Bridge","senderId":"managed-bridge-echo","text":"echo: '$text'","timestampISO8601":"2026-03-07T09:05:02Z"}}}}'$'\n'

# write_attachment BYTES: a sendMessage with that many bytes in base64, each solidus escaped.
write_attachment() {
  printf '{"sendMessage":{"_0":{"message":{"attachments":[{"dataBase64":"'
  head -c "$(($1 * 3 / 4))" /dev/urandom | base64 | tr -d '\n' | sed 's,/,\\/,g'
  printf '","fileName":"a.png","kind":"image","mimeType":"image\\/png"}],"conversationId":"c","text":"%s"},"platform":"whatsapp"}}}\n' "$text"
}

printf '{"connect":{"_0":{"platform":"whatsapp"}}}\n' >"$workspace/connect"
printf '{"sendMessage":{"_0":{"message":{"conversationId":"c","text":"%s"},"platform":"whatsapp"}}}\n' \
  "$text" >"$workspace/text"
write_attachment $((1 << 20)) >"$workspace/attachment"

# write_line BYTES: a line of that many bytes, including its line feed.
write_line() {
  head -c "$(($1 - 1))" /dev/zero | tr '\0' a
  printf '\n'
}

write_line 200 >"$workspace/line-of-200-bytes"
write_line $((1 << 20)) >"$workspace/line-of-1-MiB"

# Writing 64 MiB takes a second, so only the measures that need these lines call this.
write_long_lines() {
  [ -f "$workspace/long-line" ] && return
  write_attachment $((64 << 20)) >"$workspace/long-attachment"
  write_line $((64 << 20)) >"$workspace/long-line"
}
