// What only a server store answers: stored procedures run through a Command.
#include "zmdb/dal/ado.h"
#include "zmdb/dal/command.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"
#include "zmdb/runtime/text.h"

namespace zmdb {

namespace {
using rt::Variant;
namespace adotype = dal::typecodes::ado;
}  // namespace

// The caller's parameters become the command's input parameters (indexes 0
// to the upper bound, as the caller's arrays start at 0); one of no declared
// type goes as a string as long as its value. The hourglass shows while the
// procedure runs. A failure shows every error the connection collected, one
// box each, and leaves the last error as it was.
bool clsZMDBFunc::dbExecProc(const rt::Variant& cn, const std::string& ProcName,
                             const rt::SafeArray& InputParm, const rt::ObjectRef& RetParm) {
  return Run(
      "dbExecProc", false,
      [&](bool& result) {
        rt::SetMousePointer(rt::kPointerHourglass);
        const Variant command(rt::ObjectRef(dal::Command::Create()));
        rt::SetProp(command, "ActiveConnection", cn);
        rt::SetProp(command, "CommandType", Variant(std::int32_t{dal::ado::adCmdStoredProc}));
        rt::SetProp(command, "CommandText", Variant(ProcName));
        const std::int32_t last = InputParm.UBound();
        for (std::int32_t i = 0; i <= last; ++i) {
          const Variant& p = InputParm.at(i);
          rt::SetProp(p, "Direction", Variant(std::int32_t{dal::ado::adParamInput}));
          if (rt::CLng(rt::GetProp(p, "Type")) == adotype::adEmpty) {
            rt::SetProp(p, "Type", Variant(adotype::adVarChar));
            const auto length = rt::Utf8Length(rt::CStr(rt::GetProp(p, "Value")));
            rt::SetProp(p, "Size", Variant(static_cast<std::int32_t>(length)));
          }
        }
        const Variant parameters = rt::GetProp(command, "Parameters");
        for (std::int32_t i = 0; i <= last; ++i) {
          rt::CallMethod(parameters, "Append", {InputParm.at(i)});
        }
        if (RetParm) {
          const Variant ret(RetParm);
          rt::SetProp(ret, "Direction", Variant(std::int32_t{dal::ado::adParamOutput}));
          rt::CallMethod(parameters, "Append", {ret});
        }
        rt::CallMethod(command, "Execute",
                       {Variant::Missing(), Variant::Missing(), Variant(std::int32_t{-1})});
        result = true;
        rt::SetMousePointer(rt::kPointerDefault);
      },
      [&](const rt::ErrorInfo&, bool&) {
        // A cn without an error collection has nothing to show; the failure
        // value is the whole answer then.
        try {
          Variant conn = cn;
          dbDisplayADOError(conn);
        } catch (...) {
        }
        rt::SetMousePointer(rt::kPointerDefault);
      });
}

}  // namespace zmdb
