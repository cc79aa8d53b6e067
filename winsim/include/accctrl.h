// Access lists in terms of trustees, for the simulated machine.
#pragma once

#include "winnt.h"

enum SE_OBJECT_TYPE
{
    SE_UNKNOWN_OBJECT_TYPE = 0,
    SE_FILE_OBJECT = 1,
    SE_SERVICE = 2,
    SE_REGISTRY_KEY = 4
};

enum ACCESS_MODE
{
    NOT_USED_ACCESS = 0,
    GRANT_ACCESS = 1,
    SET_ACCESS = 2,
    DENY_ACCESS = 3,
    REVOKE_ACCESS = 4
};

enum MULTIPLE_TRUSTEE_OPERATION
{
    NO_MULTIPLE_TRUSTEE = 0
};

enum TRUSTEE_FORM
{
    TRUSTEE_IS_SID = 0,
    TRUSTEE_IS_NAME = 1
};

enum TRUSTEE_TYPE
{
    TRUSTEE_IS_UNKNOWN = 0,
    TRUSTEE_IS_USER = 1,
    TRUSTEE_IS_GROUP = 2
};

struct TRUSTEE_W
{
    TRUSTEE_W* pMultipleTrustee;
    MULTIPLE_TRUSTEE_OPERATION MultipleTrusteeOperation;
    TRUSTEE_FORM TrusteeForm;
    TRUSTEE_TYPE TrusteeType;
    LPWSTR ptstrName;
};

struct EXPLICIT_ACCESS_W
{
    DWORD grfAccessPermissions;
    ACCESS_MODE grfAccessMode;
    DWORD grfInheritance;
    TRUSTEE_W Trustee;
};
using PEXPLICIT_ACCESS_W = EXPLICIT_ACCESS_W*;

static_assert(sizeof(TRUSTEE_W) == 32 && sizeof(EXPLICIT_ACCESS_W) == 48);
