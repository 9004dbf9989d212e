/* A GEM host inside GLib's loop, which watches one descriptor for it.
 *     glib_host PORT */
#include <velto.h>

#include <glib-unix.h>
#include <stdio.h>

static GMainLoop *outer;
static velto_control *host;
static int status = 1;

static void on_report(void *user, velto_control *control, uint32_t ceid, const char *name,
                      const void *values, size_t length) {
  (void)user, (void)control, (void)name, (void)values;
  printf("GLib: event %u, %zu bytes of values\n", ceid, length);
  status = 0;
  g_main_loop_quit(outer);
}

static void on_reply(void *user, velto_control *control, velto_outcome outcome,
                     const void *message, size_t length, const char *reason) {
  (void)user, (void)control, (void)message, (void)length;
  if (outcome == VELTO_ANSWERED || outcome == VELTO_GONE)
    return;
  fprintf(stderr, "%s\n", reason);
  g_main_loop_quit(outer);
}

/* A link, a timer or a task of the control has something to do. */
static gboolean turn(gint descriptor, GIOCondition condition, gpointer loop) {
  static gboolean started = FALSE;
  velto_value start;
  (void)descriptor, (void)condition;
  velto_loop_run_once(loop, 0);
  if (!started && velto_gem_subscribed(host) == 1) {
    started = TRUE;
    velto_sml_to_bytes("s2f41w{<a 'START'>{}}", 21, &start);
    velto_gem_request(host, start.text, start.length, 5000, on_reply, NULL);
  }
  return G_SOURCE_CONTINUE;
}

static gboolean give_up(gpointer user) {
  (void)user;
  g_main_loop_quit(outer);
  return G_SOURCE_REMOVE;
}

int main(int argc, char **argv) {
  char address[32];
  const uint32_t pressure = 101;
  const velto_value t5 = {VELTO_INTEGER, 1, 0, NULL, 0};
  velto_loop *loop = velto_loop_new();
  snprintf(address, sizeof address, "127.0.0.1:%s", argc > 1 ? argv[1] : "5021");
  host = velto_gem_host(loop, address);
  if (host == NULL) {
    fprintf(stderr, "%s\n", velto_last_error());
    return 2;
  }
  velto_set(host, "T5", NULL, 0, t5);
  velto_gem_subscribe(host, 12, &pressure, 1, on_report, NULL, NULL);
  outer = g_main_loop_new(NULL, FALSE);
  g_unix_fd_add(velto_loop_descriptor(loop), G_IO_IN, turn, loop);
  g_timeout_add_seconds(20, give_up, NULL);
  g_main_loop_run(outer);
  g_main_loop_unref(outer);
  velto_loop_free(loop);
  return status;
}
