// distance A B: the world distance between two DAG nodes' origins, so that a
// script can say how far an end effector is from its handle without doing
// the arithmetic itself.

#include <cmath>

#include "HDagPath.h"
#include "HPoint.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandRegistry.h"

namespace hostdetail {
namespace builtin {
namespace {

class DistanceCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addArg(HSyntax::kString);
    syntax.addArg(HSyntax::kString);
    return syntax;
  }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    HPoint world[2];
    for (unsigned i = 0; i < 2; ++i) {
      std::string error;
      HObject node = nodeByName(arg(i), error);
      if (node.isNull())
        return failure(error);
      HDagPath path;
      if (HDagPath::getAPathTo(node, path).statusCode() != HStatus::kSuccess)
        return failure("'" + arg(i) + "' is not a DAG node");
      world[i] = HPoint::origin * path.inclusiveMatrix();
    }
    setResult((world[1] - world[0]).length());
    return HStatus::kSuccess;
  }
};

const BuiltinCommand kDistance("distance", newCommand<DistanceCommand>, DistanceCommand::newSyntax,
                               "distance NODE1 NODE2");

}  // namespace
}  // namespace builtin
}  // namespace hostdetail
