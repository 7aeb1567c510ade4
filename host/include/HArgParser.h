#pragma once
#include <map>
#include <vector>

#include "HArgList.h"
#include "HStatus.h"
#include "HString.h"
#include "HSyntax.h"

// Parses an argument list against a syntax. Construction fails (status, with
// a message naming the bad flag or argument) for unknown flags, missing flag
// arguments, arguments of the wrong type or count, and a flag that is not
// multi-use given twice.
//
// A word is a flag when it was not quoted and is a dash followed by a letter
// ("-5" and "-.5" are numbers). Flags may come before, between or after the
// command arguments; a flag's own arguments are the words right after it,
// whatever they look like. Types are checked, not converted: numbers are
// read as typed (angles stay in the units typed), kLong and kUnsigned need
// whole numbers, kBoolean accepts on/off, true/false, yes/no and 1/0.
// Flags may be named by short or long name in every query.
class HArgParser {
 public:
  HArgParser(const HSyntax& syntax, const HArgList& args, HStatus* status = nullptr);

  bool isFlagSet(const char* flag, HStatus* status = nullptr) const;
  unsigned numberOfFlagUses(const char* flag) const;
  HStatus getFlagArgument(const char* flag, unsigned index, HString& value) const;
  HStatus getFlagArgument(const char* flag, unsigned index, double& value) const;
  HStatus getFlagArgument(const char* flag, unsigned index, int& value) const;
  HStatus getFlagArgument(const char* flag, unsigned index, unsigned& value) const;
  HStatus getFlagArgument(const char* flag, unsigned index, bool& value) const;
  // For multi-use flags: the arguments of use number `use`.
  HStatus getFlagArgumentList(const char* flag, unsigned use, HArgList& args) const;

  unsigned numberOfCommandArguments() const { return unsigned(fCommandArgs.size()); }
  HStatus getCommandArgument(unsigned index, HString& value) const;
  HStatus getCommandArgument(unsigned index, double& value) const;
  HStatus getCommandArgument(unsigned index, int& value) const;
  HStatus getCommandArgument(unsigned index, bool& value) const;

  // The error message of a failed parse ("" when it succeeded).
  HString errorMessage() const { return fError; }

 private:
  const HSyntax::Flag* findFlag(const char* flag) const;
  std::map<HString, std::vector<HArgList>> fFlagUses;  // keyed by short name
  std::vector<HString> fCommandArgs;
  HSyntax fSyntax;  // a copy: HPxCommand::syntax() hands out temporaries
  HString fError;
};
