// The log policy of this PC: which values are read, and which of them wins.
#include "client/PolicyValues.h"

#include "tests/harness/RegistryScope.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

using HotKey::CPolicyValue;
using HotKey::PolicyInForce;
using HotKey::ReadPolicyValues;

namespace
{

const std::wstring kProduct = L"Software\\Policies\\Quil\\Quil TLY Service";
const std::wstring kProgram = L"Software\\Policies\\Quil\\Quil TLY Service\\HotKeyServiceTLY";

} // namespace

TEST(PolicyValues, WithoutKeysThereAreNone)
{
    const RegistryScope registry;

    EXPECT_TRUE(ReadPolicyValues().empty());
    EXPECT_EQ(L"none set", PolicyInForce(ReadPolicyValues()));
}

TEST(PolicyValues, TextsAndNumbersAreReadFromBothKeys)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"MinLogLevel", L"Warning");
    registry.SetNumber(kProgram, L"MaxLogSize", 4096);
    registry.SetText(kProgram, L"Other", L"is not read");

    const std::vector<CPolicyValue> values = ReadPolicyValues();

    ASSERT_EQ(2U, values.size());
    EXPECT_EQ(kProduct, values[0].strKey);
    EXPECT_EQ(L"MinLogLevel", values[0].strName);
    EXPECT_EQ(DWORD{REG_SZ}, values[0].dwType);
    EXPECT_EQ(L"Warning", values[0].strText);
    EXPECT_EQ(kProgram, values[1].strKey);
    EXPECT_EQ(L"MaxLogSize", values[1].strName);
    EXPECT_EQ(DWORD{REG_DWORD}, values[1].dwType);
    EXPECT_EQ(4096U, values[1].dwNumber);
}

TEST(PolicyValues, AnExpandableTextIsATextAndOtherTypesAreNeither)
{
    RegistryScope registry;
    registry.SetBytes(kProduct, L"LoggingType", REG_EXPAND_SZ, L"FILE", 10);
    registry.SetBytes(kProduct, L"MinLogLevel", REG_BINARY, L"Diag", 10);
    registry.SetBytes(kProduct, L"QueuedWrites", REG_DWORD, "\1", 1);

    const std::vector<CPolicyValue> values = ReadPolicyValues();

    ASSERT_EQ(3U, values.size());
    EXPECT_EQ(L"FILE", values[0].strText);
    EXPECT_EQ(L"", values[1].strText);
    EXPECT_EQ(0U, values[1].dwNumber);
    EXPECT_EQ(0U, values[2].dwNumber);
}

TEST(PolicyValues, WhatTheProgramSaysWins)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"MinLogLevel", L"Warning");
    registry.SetNumber(kProduct, L"MaxLogSize", 4096);
    registry.SetText(kProgram, L"MinLogLevel", L"Error");

    EXPECT_EQ(L"MaxLogSize=4096, MinLogLevel=Error", PolicyInForce(ReadPolicyValues()));
}
