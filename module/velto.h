/* Velto: the eight controls of SEMI equipment communication for every language that can call C.
 *
 * A program makes a loop, makes controls on it by their programmatic names, reads and sets their
 * properties, calls their methods and hears their events. velto_type_library() describes all of
 * them. docs/c.md explains the rules in a page; in short:
 *
 * - A loop and its controls belong to the thread that made the loop. Only velto_loop_post() and
 *   velto_loop_quit() may be called from any thread; all else is VELTO_WRONG_THREAD there.
 * - Inside a handler everything is allowed, destroying the control or freeing the loop included.
 * - Texts are 8-bit bytes with a length, and never need a zero behind them; those that are given
 *   out have one. What a call gives out lives until the next call with the same control or loop.
 * - Nothing is thrown, and nothing aborts: whatever is wrong is a status, and velto_last_error()
 *   says it in a sentence. */
#ifndef VELTO_H
#define VELTO_H

#include <stddef.h>
#include <stdint.h>

#ifdef __GNUC__
#define VELTO_API __attribute__((visibility("default")))
#else
#define VELTO_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct velto_loop velto_loop;
typedef struct velto_control velto_control;

typedef enum {
  VELTO_OK,
  VELTO_NO_SUCH_CONTROL, /* no control of that name */
  VELTO_NO_SUCH_MEMBER,  /* the control has no property, method or event of that name */
  VELTO_WRONG_TYPE,      /* a value cannot be what the member takes */
  VELTO_NOT_READABLE,    /* kept for members that can be set alone; there are none */
  VELTO_NOT_WRITABLE,    /* the property can only be read */
  VELTO_WRONG_ARGUMENTS, /* another number of them, or null where something is due */
  VELTO_WRONG_THREAD,    /* the object belongs to another thread */
  VELTO_CLOSED,          /* the object was destroyed, or is none */
  VELTO_NO_MEMORY,
  VELTO_FAILED /* anything else */
} velto_status;

typedef enum { VELTO_EMPTY, VELTO_BOOL, VELTO_INTEGER, VELTO_REAL, VELTO_TEXT } velto_type;

/* A value; which part of it counts is told by `type`. A boolean is in `integer`. */
typedef struct {
  velto_type type;
  int64_t integer;
  double real;
  const char *text;
  size_t length; /* of `text`, in bytes */
} velto_value;

VELTO_API uint32_t velto_version(void); /* 0x00MMmmpp */
/* JSON, an object: the controls with their members, and the enumerations. Lives as long as the
 * library. */
VELTO_API const char *velto_type_library(void);
/* What was wrong with the last call of this thread that failed, in a sentence; "" before. */
VELTO_API const char *velto_last_error(void);

/* Loops. */

/* Null when there is no memory or no descriptor left. */
VELTO_API velto_loop *velto_loop_new(void);
/* Destroys its controls, too. */
VELTO_API void velto_loop_free(velto_loop *loop);
/* Readable when velto_loop_run_once(loop, 0) has something to do; -1 on failure. */
VELTO_API int velto_loop_descriptor(velto_loop *loop);
/* Waits up to so many milliseconds, -1 without limit, and handles what is ready: 1 something ran,
 * 0 nothing, -1 failure. */
VELTO_API int velto_loop_run_once(velto_loop *loop, int timeout_ms);
/* Runs until velto_loop_quit(). */
VELTO_API velto_status velto_loop_run(velto_loop *loop);
VELTO_API void velto_loop_quit(velto_loop *loop);
/* Has a task run on the loop's thread, in its next turn. One that is still waiting when the loop is
 * freed never runs. */
VELTO_API velto_status velto_loop_post(velto_loop *loop, void (*task)(void *user), void *user);

/* Controls. */

/* "VeltoGem" or "VELTO.VeltoGemCtrl.1", or a property page, "VELTO.VeltoGemPropPage.1". Null on
 * failure. */
VELTO_API velto_control *velto_create(velto_loop *loop, const char *name);
/* A VeltoGem that is ready for work: an equipment with the model of a file ("" for none), or a
 * host. It opens its link in the next turn of the loop, works by the current edition, has every
 * capability on, and answers by itself what its events have not answered. `address` is "HOST:PORT",
 * "HOST" (port 5001), "secsi:HOST:PORT", "listen:PORT", "listen:secsi:PORT", "serial:DEVICE" or
 * "serial:DEVICE:RATE" (9600 bit/s). Null on failure. */
VELTO_API velto_control *velto_gem_equipment(velto_loop *loop, const char *model,
                                             const char *address);
VELTO_API velto_control *velto_gem_host(velto_loop *loop, const char *address);
/* Also inside its own events. */
VELTO_API void velto_destroy(velto_control *control);

/* Members by name, without regard to letter case. `index` are the arguments of an indexed property;
 * `result` may be null. Values convert as far as nothing is lost: 5, "5" and 5.0 are all an
 * integer, "true" and 1 are both true. */
VELTO_API velto_status velto_get(velto_control *control, const char *member,
                                 const velto_value *index, size_t count, velto_value *result);
VELTO_API velto_status velto_set(velto_control *control, const char *member,
                                 const velto_value *index, size_t count, velto_value value);
VELTO_API velto_status velto_call(velto_control *control, const char *member,
                                  const velto_value *arguments, size_t count, velto_value *result);
/* The same by dispatch identifier. */
VELTO_API velto_status velto_get_id(velto_control *control, int32_t id, const velto_value *index,
                                    size_t count, velto_value *result);
VELTO_API velto_status velto_set_id(velto_control *control, int32_t id, const velto_value *index,
                                    size_t count, velto_value value);
VELTO_API velto_status velto_call_id(velto_control *control, int32_t id,
                                     const velto_value *arguments, size_t count,
                                     velto_value *result);

/* Hears the events of a control from now on; null: none any more. The arguments live as long as
 * the call. */
typedef void (*velto_event_handler)(void *user, velto_control *control, int32_t id,
                                    const char *name, const velto_value *arguments, size_t count);
VELTO_API velto_status velto_on_event(velto_control *control, velto_event_handler handler,
                                      void *user);

/* The property bag: the persisted properties as text, a line "Name=value" each. */
VELTO_API velto_status velto_save_bag(velto_control *control, velto_value *result);
VELTO_API velto_status velto_load_bag(velto_control *control, const char *text, size_t length);
/* 1 since a persisted property has changed, until the bag is saved or loaded; 0; -1 on failure. */
VELTO_API int velto_is_modified(velto_control *control);

/* The window as JSON: {"kind":"tree","roots":[{"key":…,"value":…,"label":…,"image":…,
 * "expanded":…,"children":[…]}]}, or {"kind":"text","text":…}. */
VELTO_API velto_status velto_window(velto_control *control, velto_value *result);
/* Called when the window looks different, at most once a turn of the loop; null: no more. */
VELTO_API velto_status velto_on_window(velto_control *control,
                                       void (*changed)(void *user, velto_control *control),
                                       void *user);

/* The operator. */

typedef struct velto_sheet velto_sheet; /* of a property sheet, as long as it is shown */

/* Who shows boxes and sheets; the loop's controls use it that are made after it is set. Handlers
 * may be null: boxes vanish then, and sheets are cancelled. */
typedef struct {
  size_t size; /* sizeof(velto_front_end) */
  void *user;
  /* Shows a text: `icon` 0 none, 1 stop, 2 question; with `cancel` there is a button Cancel beside
   * OK. 1 for OK, 0 for Cancel. */
  int (*box)(void *user, const char *text, const char *title, int icon, int cancel);
  /* Shows a sheet: its pages and fields as JSON. 1 when the operator accepted what he has set by
   * velto_sheet_set(), 0 when he cancelled. A sheet that cannot be accepted counts as cancelled;
   * velto_sheet_problem() tells before. */
  int (*sheet)(void *user, velto_sheet *sheet, const char *json);
} velto_front_end;

VELTO_API velto_status velto_loop_front_end(velto_loop *loop, const velto_front_end *front_end);
/* Types a text into the field with this key or label. */
VELTO_API velto_status velto_sheet_set(velto_sheet *sheet, const char *field, const char *text,
                                       size_t length);
/* Why the sheet cannot be accepted as it is; "" when it can. Lives until the next call with it. */
VELTO_API const char *velto_sheet_problem(velto_sheet *sheet);
/* Shows the persisted properties of a control on a page of its class. 1 when the operator accepted
 * them, 0 when he did not, -1 on failure. */
VELTO_API int velto_page_show(velto_control *page, velto_control *control);

/* GEM: what a program says to its partner takes several messages; a VeltoGem keeps them together
 * (docs/gem.md). Messages are the bytes of header and body, as velto_sml_to_bytes() makes them;
 * values are the bytes of one item (SEMI E5 9.2). What a handler is given lives as long as it runs.
 */

/* The current message, as the property Msg has it. */
VELTO_API velto_status velto_gem_message(velto_control *control, velto_value *result);

/* What became of a request. */
typedef enum {
  VELTO_ANSWERED,
  VELTO_NOT_SENT,  /* it is no primary, or the states do not let it out */
  VELTO_SPOOLED,   /* the spool took it: it goes out later, and its reply to nobody here */
  VELTO_ABORTED,   /* SxF0 came */
  VELTO_REFUSED,   /* a stream 9 message about it came */
  VELTO_REJECTED,  /* a Reject.req came */
  VELTO_TIMED_OUT, /* no reply within the time limit */
  VELTO_LINK_LOST, /* the link or the communications ended */
  VELTO_GONE       /* the control is being destroyed; leave it alone */
} velto_outcome;

/* `message` is the reply, or what came instead, or empty; `reason` a sentence, "" when answered. */
typedef void (*velto_reply_handler)(void *user, velto_control *control, velto_outcome outcome,
                                    const void *message, size_t length, const char *reason);
/* Sends a primary; its W-bit, device ID and system bytes are put in. Waits that many milliseconds
 * for the reply, 0: T3. When the result is VELTO_OK the handler is called exactly once, never
 * inside this call. */
VELTO_API velto_status velto_gem_request(velto_control *control, const void *message, size_t length,
                                         uint32_t milliseconds, velto_reply_handler handler,
                                         void *user);

/* `values` is a list with {NAME VID VALUE} for each variable; empty when the event came before the
 * subscription was in force. */
typedef void (*velto_report_handler)(void *user, velto_control *control, uint32_t ceid,
                                     const char *name, const void *values, size_t length);
/* Of a host: has the equipment report a collection event with these variables, whenever
 * communications are established. `subscription` may be null. */
VELTO_API velto_status velto_gem_subscribe(velto_control *control, uint32_t ceid,
                                           const uint32_t *vids, size_t count,
                                           velto_report_handler handler, void *user,
                                           int32_t *subscription);
VELTO_API velto_status velto_gem_unsubscribe(velto_control *control, int32_t subscription);
/* 1 when every subscription is in force or was refused, 0, -1 on failure. */
VELTO_API int velto_gem_subscribed(velto_control *control);

/* Carries out a remote command: `values` is a list with {CPNAME VALUE} for each parameter. Returns
 * HCACK; objections to parameters are set by the property CPACK. */
typedef int (*velto_command_handler)(void *user, velto_control *control, const char *name,
                                     const void *values, size_t length);
/* Of an equipment: a command has one handler, which takes the place of the event RemoteCommand;
 * null: none any more. */
VELTO_API velto_status velto_gem_on_command(velto_control *control, const char *name,
                                            velto_command_handler handler, void *user);

/* SECS-II messages without a control. The result lives until the next call of this thread to one of
 * these functions. */

/* SML to the header and body in hexadecimal, and back. */
VELTO_API velto_status velto_sml_to_hex(const char *sml, size_t length, velto_value *result);
VELTO_API velto_status velto_hex_to_sml(const char *hex, size_t length, velto_value *result);
/* The same with the bytes of header and body. */
VELTO_API velto_status velto_sml_to_bytes(const char *sml, size_t length, velto_value *result);
VELTO_API velto_status velto_bytes_to_sml(const void *bytes, size_t length, velto_value *result);
/* Verifies a message by SEMI E5 in an edition (0 early, 1 current): `verification` is a
 * VeltoSecsIIVerification, `result` what is wrong with the message ("" when nothing is). */
VELTO_API velto_status velto_verify(const void *bytes, size_t length, int edition,
                                    int equipment_side, int *verification, velto_value *result);

#ifdef __cplusplus
}
#endif

#endif
