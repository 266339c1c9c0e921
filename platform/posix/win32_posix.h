// Win32 and C runtime names for POSIX systems: the types keep their Windows
// sizes (DWORD is 32-bit, handles are pointer-sized) and the functions behave
// as the library relies on them behaving on Windows.
#ifndef CMSKIT_PLATFORM_WIN32_POSIX_H
#define CMSKIT_PLATFORM_WIN32_POSIX_H

#include <fcntl.h>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define PLATFORM_API __attribute__((visibility("default")))
#define PLATFORM_PATH_SEPARATOR '/'

#define WINAPI
#define CALLBACK

typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef uint16_t WORD;
typedef uint8_t BYTE;
typedef int BOOL;
typedef char CHAR;
typedef uint32_t UINT;
typedef uintptr_t ULONG_PTR;
typedef intptr_t LONG_PTR;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef BYTE* PBYTE;
typedef BYTE* LPBYTE;
typedef const BYTE* LPCBYTE;
typedef DWORD* LPDWORD;
typedef DWORD* PDWORD;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef void* HANDLE;
typedef struct PlatformModule* HMODULE;
typedef HMODULE HINSTANCE;
typedef void (*FARPROC)();

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
#define MAX_PATH 260

#define ERROR_SUCCESS 0L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_FILE_TOO_LARGE 223L
#define ERROR_CANCELLED 1223L
#define ERROR_PATH_NOT_FOUND 3L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_INVALID_HANDLE 6L
#define ERROR_NOT_ENOUGH_MEMORY 8L
#define ERROR_WRITE_FAULT 29L
#define ERROR_READ_FAULT 30L
#define ERROR_SHARING_VIOLATION 32L
#define ERROR_HANDLE_EOF 38L
#define ERROR_NOT_SUPPORTED 50L
#define ERROR_FILE_EXISTS 80L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_OPEN_FAILED 110L
#define ERROR_DISK_FULL 112L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_INVALID_NAME 123L
#define ERROR_MOD_NOT_FOUND 126L
#define ERROR_PROC_NOT_FOUND 127L
#define ERROR_BAD_ARGUMENTS 160L
#define ERROR_ALREADY_EXISTS 183L
#define ERROR_MORE_DATA 234L
#define ERROR_NO_MORE_ITEMS 259L
#define ERROR_INVALID_DATA 13L
#define ERROR_RESOURCE_NAME_NOT_FOUND 1814L
#define ERROR_RESOURCE_DATA_NOT_FOUND 1812L

#define INVALID_FILE_ATTRIBUTES ((DWORD)-1)
#define FILE_ATTRIBUTE_READONLY 0x00000001
#define FILE_ATTRIBUTE_HIDDEN 0x00000002
#define FILE_ATTRIBUTE_SYSTEM 0x00000004
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020
#define FILE_ATTRIBUTE_NORMAL 0x00000080

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1

typedef struct _FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

typedef struct _SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

typedef struct _CRYPTOAPI_BLOB {
  DWORD cbData;
  BYTE* pbData;
} CRYPTOAPI_BLOB, CRYPT_INTEGER_BLOB, *PCRYPT_INTEGER_BLOB, CRYPT_UINT_BLOB, *PCRYPT_UINT_BLOB,
    CRYPT_OBJID_BLOB, *PCRYPT_OBJID_BLOB, CERT_NAME_BLOB, *PCERT_NAME_BLOB, CERT_RDN_VALUE_BLOB,
    *PCERT_RDN_VALUE_BLOB, CERT_BLOB, *PCERT_BLOB, CRL_BLOB, *PCRL_BLOB, DATA_BLOB, *PDATA_BLOB,
    CRYPT_DATA_BLOB, *PCRYPT_DATA_BLOB, CRYPT_HASH_BLOB, *PCRYPT_HASH_BLOB, CRYPT_DIGEST_BLOB,
    *PCRYPT_DIGEST_BLOB, CRYPT_DER_BLOB, *PCRYPT_DER_BLOB, CRYPT_ATTR_BLOB, *PCRYPT_ATTR_BLOB;

typedef struct _CRYPT_BIT_BLOB {
  DWORD cbData;
  BYTE* pbData;
  DWORD cUnusedBits;
} CRYPT_BIT_BLOB, *PCRYPT_BIT_BLOB;

// C runtime: _findfirst family
#define _A_NORMAL 0x00
#define _A_RDONLY 0x01
#define _A_HIDDEN 0x02
#define _A_SYSTEM 0x04
#define _A_SUBDIR 0x10
#define _A_ARCH 0x20

struct _finddata_t {
  unsigned attrib;
  int64_t time_create;
  int64_t time_access;
  int64_t time_write;
  uint32_t size;
  char name[260];
};

#define _MAX_DRIVE 3
#define _MAX_DIR 256
#define _MAX_FNAME 256
#define _MAX_EXT 256

#ifndef O_BINARY
#define O_BINARY 0
#endif
#define _O_BINARY O_BINARY
#define _O_RDONLY O_RDONLY

#ifdef __cplusplus
extern "C" {
#endif

// Kernel
PLATFORM_API void SetLastError(DWORD code);
PLATFORM_API DWORD GetLastError(void);
PLATFORM_API void Sleep(DWORD milliseconds);
PLATFORM_API BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);
PLATFORM_API BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime);
PLATFORM_API void GetSystemTimeAsFileTime(FILETIME* fileTime);
PLATFORM_API DWORD GetTempPathA(DWORD bufferLength, LPSTR buffer);
PLATFORM_API BOOL CopyFileA(LPCSTR existing, LPCSTR target, BOOL failIfExists);
PLATFORM_API DWORD GetFileAttributesA(LPCSTR path);
PLATFORM_API BOOL SetFileAttributesA(LPCSTR path, DWORD attributes);
PLATFORM_API BOOL GetVolumeInformationA(LPCSTR root, LPSTR volumeName, DWORD volumeNameSize, LPDWORD serial,
                                        LPDWORD maxComponentLength, LPDWORD fileSystemFlags,
                                        LPSTR fileSystemName, DWORD fileSystemNameSize);
PLATFORM_API BOOL IsBadStringPtrA(LPCSTR text, ULONG_PTR maxLength);

// Modules and string resources
PLATFORM_API HMODULE GetModuleHandleA(LPCSTR name);
PLATFORM_API DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size);
PLATFORM_API HMODULE LoadLibraryA(LPCSTR name);
PLATFORM_API BOOL FreeLibrary(HMODULE module);
PLATFORM_API FARPROC GetProcAddress(HMODULE module, LPCSTR name);
PLATFORM_API int LoadStringA(HINSTANCE instance, UINT id, LPSTR buffer, int bufferMax);

// C runtime names that POSIX spells differently or lacks
PLATFORM_API long _filelength(int fd);
PLATFORM_API int64_t _filelengthi64(int fd);
PLATFORM_API int _fseeki64(FILE* stream, int64_t offset, int origin);
PLATFORM_API int64_t _ftelli64(FILE* stream);
PLATFORM_API int _access(const char* path, int mode);
PLATFORM_API intptr_t _findfirst(const char* pattern, struct _finddata_t* data);
PLATFORM_API int _findnext(intptr_t handle, struct _finddata_t* data);
PLATFORM_API int _findclose(intptr_t handle);
PLATFORM_API void _splitpath(const char* path, char* drive, char* dir, char* fname, char* ext);
PLATFORM_API int _stricmp(const char* a, const char* b);
PLATFORM_API int _strnicmp(const char* a, const char* b, size_t count);
PLATFORM_API int _mkdir(const char* path);
PLATFORM_API int _rmdir(const char* path);
PLATFORM_API int _unlink(const char* path);
PLATFORM_API int _open(const char* path, int flags, ...);
PLATFORM_API int _close(int fd);
PLATFORM_API int _fileno(FILE* stream);
PLATFORM_API int _isatty(int fd);

// fopen that leaves its failure in the thread's last error, as on Windows,
// where the runtime's open goes through the kernel's.
PLATFORM_API FILE* PlatformFopen(const char* path, const char* mode);

#ifdef __cplusplus
}
#endif

#define fopen PlatformFopen

#endif
