/* A GEM equipment in C: it waits for a host, takes the command START, and reports the end of the
 * etch with the chamber pressure. gem_host.c is the other side.
 *     gem_equipment PORT */
#include <velto.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { PRESSURE = 101, ETCH_COMPLETED = 12, SINGLE = 11 /* SecsFloat */ };

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

static int64_t read_number(velto_control *tool, const char *property) {
  velto_value value;
  return velto_get(tool, property, NULL, 0, &value) == VELTO_OK ? value.integer : -1;
}

static void must(velto_status result) {
  if (result == VELTO_OK)
    return;
  fprintf(stderr, "%s\n", velto_last_error());
  exit(1);
}

/* The etch is over as soon as it is asked for. */
static void etch(void *user) {
  velto_control *tool = user;
  const velto_value variable = number(PRESSURE), event = number(ETCH_COMPLETED);
  must(velto_set(tool, "VIDValue", &variable, 1, text("19.75")));
  must(velto_call(tool, "InvokeEvent", &event, 1, NULL));
}

static void on_event(void *user, velto_control *tool, int32_t id, const char *name,
                     const velto_value *arguments, size_t count) {
  (void)user, (void)id;
  if (strcmp(name, "RemoteCommand") == 0 && count == 2) {
    printf("command %s\n", arguments[0].text);
    must(velto_set(tool, "HCACK", NULL, 0, number(4))); /* done later, which the event tells */
    must(velto_loop_post(loop, etch, tool));
  } else if (strcmp(name, "Received") == 0 && read_number(tool, "Stream") == 6 &&
             read_number(tool, "Function") == 12) {
    printf("the host has the report\n");
    status = 0;
  } else if (strcmp(name, "Disconnected") == 0) {
    velto_loop_quit(loop);
  }
}

int main(int argc, char **argv) {
  char address[32];
  snprintf(address, sizeof address, "listen:%s", argc > 1 ? argv[1] : "5021");
  loop = velto_loop_new();
  velto_control *tool = velto_gem_equipment(loop, "", address);
  if (tool == NULL) {
    fprintf(stderr, "%s\n", velto_last_error());
    return 1;
  }
  const velto_value variable[] = {number(PRESSURE), number(2), number(SINGLE), text("0"),
                                  text("200"),      text("0"), text("mTorr"),  text("Pressure")};
  const velto_value event[] = {number(ETCH_COMPLETED), number(255), text("Etch completed")};
  const velto_value report[] = {number(10), text("101")};
  const velto_value link[] = {number(ETCH_COMPLETED), number(10)};
  const velto_value command[] = {text("START"), text(""), text(""), number(ETCH_COMPLETED)};
  must(velto_call(tool, "RegisterVID", variable, 8, NULL));
  must(velto_call(tool, "RegisterCEID", event, 3, NULL));
  must(velto_call(tool, "SetReportVIDs", report, 2, NULL));
  must(velto_call(tool, "LinkReport", link, 2, NULL));
  must(velto_call(tool, "RegisterCommand", command, 4, NULL));
  must(velto_set(tool, "CEIDEnable", link, 1, number(1)));
  must(velto_on_event(tool, on_event, NULL));
  must(velto_loop_run(loop));
  velto_loop_free(loop);
  return status;
}
