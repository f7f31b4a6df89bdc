// Access rights, file attributes and the structures that Windows keeps in its header of this name.
#pragma once

#include <guiddef.h>
#include <minwindef.h>

#define __TEXT(quote) u##quote
#define TEXT(quote) __TEXT(quote)

#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define GENERIC_EXECUTE 0x20000000u
#define GENERIC_ALL 0x10000000u

#define FILE_SHARE_READ 0x00000001u
#define FILE_SHARE_WRITE 0x00000002u
#define FILE_SHARE_DELETE 0x00000004u

#define FILE_ATTRIBUTE_READONLY 0x00000001u
#define FILE_ATTRIBUTE_HIDDEN 0x00000002u
#define FILE_ATTRIBUTE_SYSTEM 0x00000004u
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010u
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u

#define KEY_QUERY_VALUE 0x0001u
#define KEY_SET_VALUE 0x0002u
#define KEY_CREATE_SUB_KEY 0x0004u
#define KEY_ENUMERATE_SUB_KEYS 0x0008u
#define KEY_READ 0x00020019u
#define KEY_WRITE 0x00020006u
#define KEY_ALL_ACCESS 0x000F003Fu

#define REG_OPTION_NON_VOLATILE 0x00000000u
#define REG_CREATED_NEW_KEY 1u
#define REG_OPENED_EXISTING_KEY 2u
#define REG_NONE 0u
#define REG_SZ 1u
#define REG_EXPAND_SZ 2u
#define REG_BINARY 3u
#define REG_DWORD 4u
#define REG_MULTI_SZ 7u
#define REG_QWORD 11u

#define SERVICE_WIN32_OWN_PROCESS 0x00000010u

#define MAXIMUM_ALLOWED 0x02000000u
#define PROCESS_ALL_ACCESS 0x001FFFFFu

#define TOKEN_ASSIGN_PRIMARY 0x0001u
#define TOKEN_DUPLICATE 0x0002u
#define TOKEN_QUERY 0x0008u
#define TOKEN_ADJUST_PRIVILEGES 0x0020u
#define TOKEN_ALL_ACCESS 0x000F01FFu
#define SE_PRIVILEGE_ENABLED 0x00000002u
#define SE_SYSTEM_ENVIRONMENT_NAME TEXT("SeSystemEnvironmentPrivilege")

#define HEAP_ZERO_MEMORY 0x00000008u
#define ANYSIZE_ARRAY 1

struct LUID {
  DWORD LowPart;
  LONG HighPart;
};
using PLUID = LUID*;

struct LUID_AND_ATTRIBUTES {
  LUID Luid;
  DWORD Attributes;
};

struct TOKEN_PRIVILEGES {
  DWORD PrivilegeCount;
  LUID_AND_ATTRIBUTES Privileges[ANYSIZE_ARRAY];
};
using PTOKEN_PRIVILEGES = TOKEN_PRIVILEGES*;

static_assert(sizeof(LUID_AND_ATTRIBUTES) == 12);
static_assert(sizeof(TOKEN_PRIVILEGES) == 16);

enum SECURITY_IMPERSONATION_LEVEL {
  SecurityAnonymous,
  SecurityIdentification,
  SecurityImpersonation,
  SecurityDelegation
};

enum TOKEN_TYPE { TokenPrimary = 1, TokenImpersonation };

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
};
union ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  ULONGLONG QuadPart;
};
static_assert(sizeof(LARGE_INTEGER) == 8 && sizeof(ULARGE_INTEGER) == 8);
