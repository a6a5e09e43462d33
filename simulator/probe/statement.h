#pragma once

#include <initializer_list>

#include "com.h"

namespace Probe {

class Lab;

/// What a statement is built on.
enum class Ground
{
    Documented, ///< the public description of the interfaces, the manual or field reports say so
    Assumed     ///< usual behaviour as far as known
};

/// What should be and what is.
struct Finding
{
    std::string expected;
    std::string seen;
    bool holds = false;
};

/// The statement cannot be checked here; the text says why. It then counts neither as holding nor as not.
class Cannot : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// One sentence about VirtualBox.
struct Statement
{
    const char* name; ///< with its subject in front: "media.close-attached"
    const char* sentence;
    Ground ground;
    Finding (*check)(Lab& lab); ///< null: there is no check
    const char* noCheck = "";   ///< why there is none
};

/// The statements about one thing, in the order in which they are read.
struct Subject
{
    const char* name; ///< as the names of its statements begin
    const char* title;
    std::vector<Statement> statements;
};

/// All of them.
const std::vector<Subject>& subjects();

// ---- what checks return

/// A call answers this result.
Finding answers(std::uint32_t expected, HRESULT seen);
/// It answers one of these: the sources differ.
Finding answersOneOf(std::initializer_list<std::uint32_t> expected, HRESULT seen);
/// It fails, whatever the result.
Finding fails(HRESULT seen);

Finding equal(std::wstring_view expected, std::wstring_view seen);
Finding equal(std::string_view expected, std::string_view seen);
Finding equal(std::int64_t expected, std::int64_t seen);
/// For what is not a value: both in words.
Finding says(bool holds, const std::string& expected, const std::string& seen);
/// A question that should be answered with yes.
Finding yes(bool holds);
Finding no(bool seen);

Finding machineState(std::uint32_t expected, std::uint32_t seen);
Finding sessionState(std::uint32_t expected, std::uint32_t seen);
Finding mediumState(std::uint32_t expected, std::uint32_t seen);

/// Several at once.
Finding all(std::initializer_list<Finding> findings);

// ---- the subjects, each in a source of its own

Subject connectionStatements();
Subject nameStatements();
Subject lookupStatements();
Subject creationStatements();
Subject registrationStatements();
Subject settingsStatements();
Subject lockStatements();
Subject startStatements();
Subject runningStatements();
Subject progressStatements();
Subject eventStatements();
Subject mediumStatements();
Subject storageStatements();
Subject natStatements();
Subject sharedFolderStatements();
Subject guestPropertyStatements();
Subject extraDataStatements();
Subject cloningStatements();
Subject deletionStatements();
Subject applianceStatements();
Subject limitStatements();
Subject hostStatements();
Subject errorStatements();

} // namespace Probe
