#include <stdio.h>
#include <velto.h>

static void show(void *loop, velto_control *host, velto_outcome outcome, const void *reply,
                 size_t length, const char *reason) {
  velto_value sml = {0};
  velto_bytes_to_sml(reply, length, &sml);
  puts(outcome == VELTO_ANSWERED ? sml.text : reason);
  velto_loop_quit(loop);
}

int main(void) {
  velto_loop *loop = velto_loop_new();
  velto_control *host = velto_gem_host(loop, "127.0.0.1:5014");
  velto_value state = {0}, ask;
  while (state.integer != 2 && velto_loop_run_once(loop, 1000) >= 0)
    velto_get(host, "CommunicationState", NULL, 0, &state);
  velto_sml_to_bytes("s1f3w{<u4 101>}", 15, &ask);
  velto_gem_request(host, ask.text, ask.length, 5000, show, loop);
  velto_loop_run(loop);
}
