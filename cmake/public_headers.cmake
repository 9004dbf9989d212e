# The headers that are installed, as <velto/FOLDER/NAME.h>. A header that is in neither list is
# private; make_headers.cmake refuses an installed one that includes it.

# What users include by name.
set(VELTO_PUBLIC_HEADERS
  base/bytes.h
  base/config.h
  base/text.h
  controls/comm_ctrl.h
  controls/component/control.h
  controls/component/enumeration.h
  controls/component/ini_control.h
  controls/component/member_table.h
  controls/component/property_bag.h
  controls/component/variant.h
  controls/component/version.h
  controls/gem_ctrl.h
  controls/gem_factory.h
  controls/hsms_ctrl.h
  controls/log_ctrl.h
  controls/problem_numbers.h
  controls/registry.h
  controls/secsi_ctrl.h
  controls/secsi_socket_ctrl.h
  controls/secsii_ctrl.h
  controls/socket_ctrl.h
  platform/clock.h
  platform/event_loop.h
  platform/null_modem.h
  platform/pseudo_terminal.h
  secs2/format.h
  secs2/header.h
  secs2/item.h
  secs2/item_codec.h
  secs2/message.h
  secs2/node_path.h
  secs2/sml_parser.h
  secs2/sml_printer.h
  secs2/sml_tree.h
  secs2/verifier.h
  ui/dialog.h
  ui/view.h
  ui/view_changes.h)

# What those are made of: a user meets it through them. Each is a reason to ask whether a forward
# declaration would do, and one that nobody includes any more has to go.
set(VELTO_INNER_HEADERS
  base/handle.h
  base/lifetime.h
  base/local_time.h
  controls/component/page_field.h
  controls/gem_ctrl_capabilities.h
  controls/gem_ctrl_line.h
  controls/gem_ctrl_requests.h
  controls/log_properties.h
  controls/secsi_properties.h
  controls/statistics_property.h
  controls/tcp_control.h
  controls/variable_number.h
  platform/file.h
  secs2/edition.h
  secs2/sml_lexer.h
  secs2/verify_finding.h
  transport/link/connection_sink.h
  transport/link/problem.h
  transport/link/statistics.h
  transport/log/log_settings.h
  transport/secsi/secsi_settings.h
  transport/secsi/serial_ports.h)
