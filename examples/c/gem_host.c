/* A GEM host in C: it asks an equipment to START and waits for the report of its end.
 * gem_equipment.c is the other side.
 *     gem_host PORT */
#include <velto.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { COMMUNICATING = 2 };

static velto_loop *loop;
static int status = 1;

static velto_value number(int64_t value) {
  velto_value result = {VELTO_INTEGER, value, 0, NULL, 0};
  return result;
}

static velto_value text(const char *value) {
  velto_value result = {VELTO_TEXT, 0, 0, value, strlen(value)};
  return result;
}

static void must(velto_status result) {
  if (result == VELTO_OK)
    return;
  fprintf(stderr, "%s\n", velto_last_error());
  exit(1);
}

static int64_t read_number(velto_control *host, const char *property) {
  velto_value value;
  must(velto_get(host, property, NULL, 0, &value));
  return value.integer;
}

/* The third work space is free for what is sent. */
static void start(void *user) {
  velto_control *host = user;
  velto_value sent;
  must(velto_set(host, "WorkSpace", NULL, 0, number(2)));
  must(velto_set(host, "SML", NULL, 0, text("s2f41w{<a'START'>{}}")));
  must(velto_call(host, "Send", NULL, 0, &sent));
  if (!sent.integer)
    velto_loop_quit(loop);
}

static void on_event(void *user, velto_control *host, int32_t id, const char *name,
                     const velto_value *arguments, size_t count) {
  velto_value sml;
  (void)user, (void)id;
  if (strcmp(name, "CommunicationStateChanged") == 0 && count == 2 &&
      arguments[0].integer == COMMUNICATING) {
    must(velto_loop_post(loop, start, host)); /* once the event is over */
  } else if (strcmp(name, "Received") == 0 && read_number(host, "Stream") == 6) {
    must(velto_get(host, "SML", NULL, 0, &sml));
    printf("%s", sml.text);
    status = 0;
  } else if (strcmp(name, "Sent") == 0 && read_number(host, "Stream") == 6) {
    velto_loop_quit(loop); /* the report is acknowledged */
  }
}

int main(int argc, char **argv) {
  char address[32];
  snprintf(address, sizeof address, "127.0.0.1:%s", argc > 1 ? argv[1] : "5021");
  loop = velto_loop_new();
  velto_control *host = velto_gem_host(loop, address);
  if (host == NULL) {
    fprintf(stderr, "%s\n", velto_last_error());
    return 1;
  }
  must(velto_set(host, "T5", NULL, 0, number(1)));
  must(velto_on_event(host, on_event, NULL));
  must(velto_loop_run(loop));
  velto_loop_free(loop);
  return status;
}
