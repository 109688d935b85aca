#include "update/RunSvn.h"

#include "file/cmMapExceptionToStatus.h"
#include "runtime/cmException.h"
#include "update/cmProcess.h"
#include "update/cmProcessPath.h"

namespace {

// What a failure to start becomes when the file layer's table has no entry
// for it: the same number as a client that is not there.
constexpr int32_t kNotStarted = -2;

}  // namespace

int32_t RunSvn(cmStringT<char, 1, 30> svnPath, cmStringT<char, 1, 30> arguments) {
  cmString command = QuoteProgram(svnPath);
  if (arguments.isNotEmpty()) {
    command.append(' ');
    command.append(arguments);
  }

  cmProcess process;
  cmProcessEnv inherited;  // empty: the client sees this program's environment
  int32_t result;
  try {
    result = ExecAndWait(process, command, CM_PROC_USE_SHELL | CM_PROC_STD_HANDLES, cmString(), inherited, true);
  } catch (const cmException& e) {
    result = MapExceptionToStatus(e.number(), kNotStarted);
  }
  process.closeHandle();
  return result;
}
