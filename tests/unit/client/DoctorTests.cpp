#include "client/Doctor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using HotKey::Answer;
using HotKey::CDoctorFacts;
using HotKey::CFinding;
using HotKey::Verdict;

namespace
{

// A PC where all is well.
CDoctorFacts Well()
{
    CDoctorFacts facts{};
    facts.service = {L"running", 42, L"\"C:\\Program Files\\Quil\\HotKeyService\\HotKeyServiceTLY.exe\"",
                     L"C:\\Program Files\\Quil\\HotKeyService\\HotKeyServiceTLY.exe", L"1.0.0.0"};
    facts.strProgramFolder = L"C:\\Program Files\\Quil\\HotKeyService";
    facts.dwRecoveryActions = 3;
    facts.bAnswers = true;
    facts.eSystemServer = Answer::Yes;
    facts.strLogFolder = L"C:\\quilLog";
    facts.nOldLogs = 9;
    facts.presence = HotKey::CPresence{true, true};
    facts.eWmi = Answer::Yes;
    return facts;
}

CFinding FindingOf(const CDoctorFacts& facts, const std::wstring& subject)
{
    for (const CFinding& finding : HotKey::Judge(facts))
    {
        if (finding.pSubject == subject)
        {
            return finding;
        }
    }
    ADD_FAILURE() << "no such check";
    return {L"", Verdict::Ok, {}, {}};
}

void ExpectTrouble(const CDoctorFacts& facts, const wchar_t* subject, Verdict verdict, const wchar_t* finding)
{
    const CFinding found = FindingOf(facts, subject);
    EXPECT_EQ(verdict, found.eVerdict);
    EXPECT_EQ(finding, found.strFinding);
    EXPECT_FALSE(found.strCure.empty());
}

} // namespace

TEST(Doctor, FindsNothingOnAPcThatIsWell)
{
    const std::vector<CFinding> findings = HotKey::Judge(Well());

    EXPECT_EQ(10U, findings.size());
    for (const CFinding& finding : findings)
    {
        EXPECT_EQ(Verdict::Ok, finding.eVerdict) << finding.strFinding.size();
        EXPECT_TRUE(finding.strCure.empty());
    }
}

TEST(Doctor, MissesTheRegistration)
{
    CDoctorFacts facts = Well();
    facts.service = {L"not installed", 0, {}, {}, {}};
    ExpectTrouble(facts, L"service", Verdict::Problem, L"not installed");
}

TEST(Doctor, SeesAServiceThatDoesNotRun)
{
    CDoctorFacts facts = Well();
    facts.service.strState = L"stopped";
    ExpectTrouble(facts, L"service", Verdict::Problem, L"stopped");
}

TEST(Doctor, SeesAPathWithBlanksAndWithoutQuotationMarks)
{
    CDoctorFacts facts = Well();
    facts.service.strCommandLine = L"C:\\Program Files\\a.exe";
    ExpectTrouble(facts, L"program path", Verdict::Problem, L"not in quotation marks: C:\\Program Files\\a.exe");
}

TEST(Doctor, AcceptsAPathWithoutBlanksAndQuotationMarks)
{
    CDoctorFacts facts = Well();
    facts.service.strCommandLine = L"C:\\Quil\\a.exe";
    EXPECT_EQ(Verdict::Ok, FindingOf(facts, L"program path").eVerdict);
}

TEST(Doctor, SeesAPercentSignInThePath)
{
    CDoctorFacts facts = Well();
    facts.service.strCommandLine = L"\"C:\\100%s\\a.exe\"";
    ExpectTrouble(facts, L"program path", Verdict::Problem, L"has a percent sign: \"C:\\100%s\\a.exe\"");
}

TEST(Doctor, SeesWhoElseMayWriteTheProgram)
{
    CDoctorFacts facts = Well();
    facts.writers.accounts = {L"Everyone", L"PC\\Guest"};
    ExpectTrouble(facts, L"program folder", Verdict::Problem,
                  L"others than administrators may write: Everyone, PC\\Guest");
}

TEST(Doctor, SaysWhenTheRightsCannotBeRead)
{
    CDoctorFacts facts = Well();
    facts.writers.dwError = 5;
    ExpectTrouble(facts, L"program folder", Verdict::Unknown, L"its rights cannot be read, error 5");
}

TEST(Doctor, MissesFailureActions)
{
    CDoctorFacts facts = Well();
    facts.dwRecoveryActions = 0;
    ExpectTrouble(facts, L"recovery", Verdict::Warning, L"no failure actions: a crash stays");
}

TEST(Doctor, SaysWhenFailureActionsCannotBeRead)
{
    CDoctorFacts facts = Well();
    facts.dwRecoveryError = 124;
    ExpectTrouble(facts, L"recovery", Verdict::Unknown, L"the failure actions cannot be read, error 124");
}

TEST(Doctor, SeesAServiceThatDoesNotAnswer)
{
    CDoctorFacts facts = Well();
    facts.bAnswers = false;
    ExpectTrouble(facts, L"endpoint", Verdict::Problem, L"the service runs, but does not answer");
}

TEST(Doctor, SeesAnotherProgramBehindTheEndpoint)
{
    CDoctorFacts facts = Well();
    facts.service.strState = L"stopped";
    ExpectTrouble(facts, L"endpoint", Verdict::Problem,
                  L"answers although the service does not run: another program has its name");
}

TEST(Doctor, SeesAnImpostorBehindTheEndpoint)
{
    CDoctorFacts facts = Well();
    facts.eSystemServer = Answer::No;
    ExpectTrouble(facts, L"endpoint", Verdict::Problem,
                  L"whoever answers is not the system: an impostor took its name first");
}

TEST(Doctor, SaysWhenItCannotTellWhoAnswers)
{
    CDoctorFacts facts = Well();
    facts.eSystemServer = Answer::Unknown;
    ExpectTrouble(facts, L"endpoint", Verdict::Unknown, L"answers; this system cannot tell who");
}

TEST(Doctor, SeesALogFolderThatCannotBeWritten)
{
    CDoctorFacts facts = Well();
    facts.dwLogFolderError = ERROR_DISK_FULL;
    ExpectTrouble(facts, L"log folder", Verdict::Problem, L"error 112: C:\\quilLog");
    facts.dwLogFolderError = ERROR_PATH_NOT_FOUND;
    ExpectTrouble(facts, L"log folder", Verdict::Warning, L"there is none: C:\\quilLog");
    facts.dwLogFolderError = ERROR_ACCESS_DENIED;
    ExpectTrouble(facts, L"log folder", Verdict::Unknown, L"not to be written by this account: C:\\quilLog");
}

TEST(Doctor, SeesMoreThanNineOldLogs)
{
    CDoctorFacts facts = Well();
    facts.nOldLogs = 10;
    ExpectTrouble(facts, L"old logs", Verdict::Warning, L"10: rotation no longer removes the oldest");
}

TEST(Doctor, SaysWhenOldLogsCannotBeCounted)
{
    CDoctorFacts facts = Well();
    facts.nOldLogs = 0;
    facts.dwOldLogsError = ERROR_ACCESS_DENIED;
    ExpectTrouble(facts, L"old logs", Verdict::Unknown, L"cannot be counted, error 5");
}

TEST(Doctor, SeesMisspeltPolicyWords)
{
    CDoctorFacts facts = Well();
    facts.policy = {{L"K", L"MinLogLevel", REG_SZ, L"Infomation", 0},
                    {L"K", L"MaxLogLevel", REG_SZ, L"Eror", 0},
                    {L"K", L"LoggingType", REG_SZ, L"FIEL", 0}};
    ExpectTrouble(facts, L"policy", Verdict::Problem,
                  L"K\\MinLogLevel is misspelt and switches logging off: Infomation, "
                  L"K\\MaxLogLevel is misspelt and lets everything through: Eror, "
                  L"K\\LoggingType names no kind of log and is not used: FIEL");
}

TEST(Doctor, SeesPolicyValuesOfTheWrongType)
{
    CDoctorFacts facts = Well();
    facts.policy = {{L"K", L"MinLogLevel", REG_DWORD, {}, 0}, {L"K", L"MaxLogSize", REG_SZ, L"2048", 0}};
    ExpectTrouble(facts, L"policy", Verdict::Problem,
                  L"K\\MinLogLevel is no text and is not read, K\\MaxLogSize is no number and is not read");
}

TEST(Doctor, AcceptsPolicyWordsInAnyMixOfCase)
{
    CDoctorFacts facts = Well();
    facts.policy = {{L"K", L"MinLogLevel", REG_SZ, L"warning", 0},
                    {L"K", L"LoggingType", REG_SZ, L"event,file", 0},
                    {L"K", L"QueuedWrites", REG_DWORD, {}, 0}};
    const CFinding finding = FindingOf(facts, L"policy");
    EXPECT_EQ(Verdict::Ok, finding.eVerdict);
    EXPECT_EQ(L"3 values set", finding.strFinding);
}

TEST(Doctor, SeesHalfAFramework)
{
    CDoctorFacts facts = Well();
    facts.presence = HotKey::CPresence{true, false};
    ExpectTrouble(facts, L"device framework", Verdict::Warning, L"its service without its device node");
    facts.presence = HotKey::CPresence{false, true};
    ExpectTrouble(facts, L"device framework", Verdict::Warning, L"its device node without its service");
}

TEST(Doctor, SeesWmiFailAndHang)
{
    CDoctorFacts facts = Well();
    facts.eWmi = Answer::No;
    facts.strWmiTrouble = L"a query failed: 0x8004100E";
    ExpectTrouble(facts, L"WMI", Verdict::Problem, L"a query failed: 0x8004100E");
    facts.eWmi = Answer::Unknown;
    ExpectTrouble(facts, L"WMI", Verdict::Problem, L"did not answer in 10 s");
}

TEST(Doctor, DoesNotKnowTheWritersOfAFolderThatItDoesNotKnow)
{
    CDoctorFacts facts = Well();
    facts.strProgramFolder.clear();
    ExpectTrouble(facts, L"program folder", Verdict::Unknown, L"not known");
}

TEST(Doctor, TakesAnEmptyLevelForNone)
{
    CDoctorFacts facts = Well();
    facts.policy = {{L"K", L"MinLogLevel", REG_SZ, L"", 0}};
    EXPECT_EQ(Verdict::Ok, FindingOf(facts, L"policy").eVerdict);
}

TEST(Doctor, CannotTellTheFrameworkWithoutTheService)
{
    CDoctorFacts facts = Well();
    facts.presence.reset();
    const CFinding finding = FindingOf(facts, L"device framework");
    EXPECT_EQ(Verdict::Unknown, finding.eVerdict);
    EXPECT_EQ(L"the service does not answer", finding.strFinding);
}
