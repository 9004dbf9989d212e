import static jdk.incubator.foreign.CLinker.C_INT;
import static jdk.incubator.foreign.CLinker.C_LONG;
import static jdk.incubator.foreign.CLinker.C_POINTER;

import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import jdk.incubator.foreign.CLinker;
import jdk.incubator.foreign.FunctionDescriptor;
import jdk.incubator.foreign.MemoryAccess;
import jdk.incubator.foreign.MemoryAddress;
import jdk.incubator.foreign.MemoryLayout;
import jdk.incubator.foreign.MemorySegment;
import jdk.incubator.foreign.ResourceScope;
import jdk.incubator.foreign.SymbolLookup;

/**
 * A GEM host in Java 17, by its foreign-function interface: it asks the equipment of
 * ../c/gem_equipment.c to START and ends with its report. No code in C is needed.
 *
 * <pre>java --add-modules jdk.incubator.foreign --enable-native-access=ALL-UNNAMED \
 *     GemHost.java LIBRARY PORT</pre>
 *
 * From Java 22 on the package is java.lang.foreign: Linker.nativeLinker() in place of
 * CLinker.getInstance(), Arena of ResourceScope, ValueLayout.ADDRESS, JAVA_INT and JAVA_LONG of
 * C_POINTER, C_INT and C_LONG, and MemorySegment also where MemoryAddress stands here.
 */
public final class GemHost {
  private static final Class<?> POINTER = MemoryAddress.class;
  private static final ResourceScope SCOPE = ResourceScope.globalScope();
  private static MemoryAddress loop;
  private static int status = 1;

  /** A function of velto.h, by the types of its result and its arguments. */
  private static MethodHandle function(String name, Class<?> result, Class<?>... arguments) {
    MemoryLayout[] layouts = new MemoryLayout[arguments.length];
    for (int i = 0; i < layouts.length; ++i) layouts[i] = layout(arguments[i]);
    return CLinker.getInstance()
        .downcallHandle(
            SymbolLookup.loaderLookup().lookup(name).orElseThrow(),
            MethodType.methodType(result, arguments),
            result == void.class
                ? FunctionDescriptor.ofVoid(layouts)
                : FunctionDescriptor.of(layout(result), layouts));
  }

  private static MemoryLayout layout(Class<?> type) {
    return type == int.class ? C_INT : type == long.class ? C_LONG : C_POINTER;
  }

  /** A method of this class as a handler of the type of velto.h. */
  private static MemoryAddress handler(String name, Class<?>... arguments) throws Throwable {
    MemoryLayout[] layouts = new MemoryLayout[arguments.length];
    for (int i = 0; i < layouts.length; ++i) layouts[i] = layout(arguments[i]);
    MethodType type = MethodType.methodType(void.class, arguments);
    MethodHandle method = MethodHandles.lookup().findStatic(GemHost.class, name, type);
    return CLinker.getInstance().upcallStub(method, FunctionDescriptor.ofVoid(layouts), SCOPE);
  }

  private static MemoryAddress text(String value) {
    return CLinker.toCString(value, SCOPE).address();
  }

  private static void quit() {
    try {
      function("velto_loop_quit", void.class, POINTER).invoke(loop);
    } catch (Throwable fault) { // nothing may be thrown through the library
      fault.printStackTrace();
    }
  }

  static void onReport(
      MemoryAddress user, MemoryAddress host, int ceid, MemoryAddress name, MemoryAddress values,
      long length) {
    System.out.println("Java: event " + ceid + ", " + length + " bytes of values");
    status = 0;
    quit();
  }

  static void onReply(
      MemoryAddress user, MemoryAddress host, int outcome, MemoryAddress message, long length,
      MemoryAddress reason) {
    if (outcome == 0) return; // VELTO_ANSWERED
    System.err.println(CLinker.toJavaString(reason));
    quit();
  }

  public static void main(String[] arguments) throws Throwable {
    System.load(arguments[0]);
    loop = (MemoryAddress) function("velto_loop_new", POINTER).invoke();
    MemoryAddress host =
        (MemoryAddress)
            function("velto_gem_host", POINTER, POINTER, POINTER)
                .invoke(loop, text("127.0.0.1:" + arguments[1]));
    MemorySegment vid = MemorySegment.allocateNative(4, SCOPE);
    MemoryAccess.setInt(vid, 101);
    int done =
        (int)
            function(
                    "velto_gem_subscribe", int.class, POINTER, int.class, POINTER, long.class,
                    POINTER, POINTER, POINTER)
                .invoke(
                    host, 12, vid.address(), 1L,
                    handler(
                        "onReport", POINTER, POINTER, int.class, POINTER, POINTER, long.class),
                    MemoryAddress.NULL, MemoryAddress.NULL);
    MethodHandle subscribed = function("velto_gem_subscribed", int.class, POINTER);
    MethodHandle turn = function("velto_loop_run_once", int.class, POINTER, int.class);
    while (done == 0 && (int) subscribed.invoke(host) != 1)
      if ((int) turn.invoke(loop, 1000) < 0) break;

    // A velto_value: its text and length stand at 24 and 32.
    MemorySegment start = MemorySegment.allocateNative(40, 8, SCOPE);
    String sml = "s2f41w{<a 'START'>{}}";
    done +=
        (int)
            function("velto_sml_to_bytes", int.class, POINTER, long.class, POINTER)
                .invoke(text(sml), (long) sml.length(), start.address());
    done +=
        (int)
            function(
                    "velto_gem_request", int.class, POINTER, POINTER, long.class, int.class,
                    POINTER, POINTER)
                .invoke(
                    host, MemoryAccess.getAddressAtOffset(start, 24),
                    MemoryAccess.getLongAtOffset(start, 32), 5000,
                    handler(
                        "onReply", POINTER, POINTER, int.class, POINTER, long.class, POINTER),
                    MemoryAddress.NULL);
    if (done == 0) function("velto_loop_run", int.class, POINTER).invoke(loop);
    function("velto_loop_free", void.class, POINTER).invoke(loop);
    System.exit(status);
  }
}
