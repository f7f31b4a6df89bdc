@echo off
rem Gathers what Vantord reads and deploys on this tablet into one file, for "vantord-tablet import".
rem
rem   collect-tablet.cmd [OUT] [/full] [/noids] [/drive X:]
rem
rem OUT        the folder to make, and the zip file beside it (OUT.zip); without it: vantord-collected
rem /full      every file with its content; without it those of up to 1 MB, of larger ones name, size and digest only
rem /noids     without user names, security identifiers and device instances
rem /drive X:  the Windows on that drive, which is not running (from Windows PE); nothing on it is changed
rem
rem Run it as an administrator. It only reads: registry, files, services. Firmware variables need collect-tablet.ps1.
setlocal EnableExtensions EnableDelayedExpansion
chcp 65001 >nul 2>&1
set "OUT=vantord-collected"
set "DRIVE=%SystemDrive%"
set "MODE=running"
set "FULL="
set "NOIDS="

:options
if "%~1"=="" goto checked
if /i "%~1"=="/full" (set "FULL=1" & shift & goto options)
if /i "%~1"=="/noids" (set "NOIDS=1" & shift & goto options)
if /i "%~1"=="/drive" (set "DRIVE=%~2" & set "MODE=offline" & shift & shift & goto options)
set "OUT=%~1"
shift
goto options

:checked
if exist "%OUT%" (
  echo %OUT%: exists already; name another folder
  exit /b 3
)
if not exist "%DRIVE%\Windows\System32" (
  echo %DRIVE%: has no Windows; name the drive with /drive X:
  exit /b 3
)
mkdir "%OUT%\registry"
mkdir "%OUT%\C"
if not exist "%OUT%\C" (
  echo %OUT%: cannot be made
  exit /b 3
)
for %%F in ("%OUT%") do set "OUT=%%~fF"
set "FAILED="

>"%OUT%\collect-tablet.txt" echo collect-tablet 1
>>"%OUT%\collect-tablet.txt" echo mode=%MODE%
if defined NOIDS >>"%OUT%\collect-tablet.txt" echo identifiers=left out
call :registry
call :files
if "%MODE%"=="running" call :services
if defined FAILED (
  echo %OUT%: incomplete, see above; run this as an administrator
  exit /b 1
)
call :pack
exit /b 0

rem --- the registry -------------------------------------------------------------------------------------------------

:registry
set "SYSTEM=HKLM\SYSTEM"
set "SOFTWARE=HKLM\SOFTWARE"
set "SET=CurrentControlSet"
if "%MODE%"=="offline" call :load
if defined FAILED goto :eof
call :export 10-select "%SYSTEM%\Select" needed
if "%MODE%"=="offline" call :current
call :export 20-vantord "%SYSTEM%\%SET%\Services\Vantord"
call :export 21-pelt "%SYSTEM%\%SET%\Services\Pelt"
call :export 22-modem-driver "%SYSTEM%\%SET%\Services\QCCDI"
call :export 30-modem-class "%SYSTEM%\%SET%\Control\Class\{4d36e97d-e325-11ce-bfc1-08002be10318}"
call :export 31-crash-control "%SYSTEM%\%SET%\Control\CrashControl"
call :export 50-setup-state "%SOFTWARE%\Microsoft\Windows\CurrentVersion\Setup\State"
if not defined NOIDS (
  call :export 40-modem-interfaces "%SYSTEM%\%SET%\Control\DeviceClasses\{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}"
  call :export 41-firmware-interfaces "%SYSTEM%\%SET%\Control\DeviceClasses\{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}"
  call :export 51-logon "%SOFTWARE%\Microsoft\Windows\CurrentVersion\Authentication\LogonUI"
)
if "%MODE%"=="offline" (
  reg unload HKLM\VantordCollectSYSTEM >nul
  reg unload HKLM\VantordCollectSOFTWARE >nul
  rmdir /s /q "%OUT%\hives"
)
goto :eof

rem Loading a hive completes it from its logs: of copies, so that the drive stays as it is.
:load
mkdir "%OUT%\hives"
for %%H in (SYSTEM SOFTWARE) do (
  xcopy "%DRIVE%\Windows\System32\config\%%H*" "%OUT%\hives\" /h /r /q /y >nul
  attrib -r -h -s "%OUT%\hives\%%H*"
  reg load HKLM\VantordCollect%%H "%OUT%\hives\%%H" >nul
  if errorlevel 1 (
    echo %DRIVE%\Windows\System32\config\%%H: cannot be loaded
    set "FAILED=1"
  )
)
set "SYSTEM=HKLM\VantordCollectSYSTEM"
set "SOFTWARE=HKLM\VantordCollectSOFTWARE"
goto :eof

:current
for /f "tokens=3" %%N in ('reg query "%SYSTEM%\Select" /v Current') do set /a NUMBER=%%N
set "NUMBER=00%NUMBER%"
set "SET=ControlSet%NUMBER:~-3%"
goto :eof

:export
reg query "%~2" >nul 2>&1
if not errorlevel 1 goto found
if "%~3"=="" goto :eof
echo %~2: cannot be read
set "FAILED=1"
goto :eof
:found
reg export "%~2" "%OUT%\registry\%~1.reg" /y >nul
if not errorlevel 1 goto :eof
echo %~2: cannot be exported
set "FAILED=1"
goto :eof

rem --- files --------------------------------------------------------------------------------------------------------

:files
call :tree "\Windows\System32\modem_core"
call :tree "\Windows\ToastGenerator"
call :tree "\Windows\System32\DriverState\Services\QCCDI\Data\ssr_dumps"
call :one "\Windows\System32\Vantord.exe"
call :one "\Windows\System32\PeltService.exe"
call :one "\Windows\System32\qcdsp1v2850.mbn"
call :one "\Windows\System32\qcdsp2850.mbn"
call :one "\MfgDiag\Dlls\RILRouter.dll"
call :one "\Users\Public\Documents"
goto :eof

:tree
if not exist "%DRIVE%%~1" goto :eof
call :one "%~1"
for /f "delims=" %%F in ('dir /b /s /a "%DRIVE%%~1" 2^>nul') do call :one "%%~pnxF"
goto :eof

rem A line of the list, and the file itself if it is small or all are wanted.
:one
if not exist "%DRIVE%%~1" goto :eof
for %%F in ("%DRIVE%%~1") do (
  set "LETTERS=%%~aF"
  set "SIZE=%%~zF"
)
if "%LETTERS:~0,1%"=="d" (
  >>"%OUT%\files.txt" echo %LETTERS%:0:-:%~1
  mkdir "%OUT%\C%~1" 2>nul
  goto :eof
)
set "DIGEST=-"
for /f "skip=1 delims=" %%H in ('certutil -hashfile "%DRIVE%%~1" SHA256 2^>nul') do if "!DIGEST!"=="-" set "DIGEST=%%H"
set "DIGEST=%DIGEST: =%"
>>"%OUT%\files.txt" echo %LETTERS%:%SIZE%:%DIGEST%:%~1
rem Numbers of cmd have 32 bits: texts of one length are compared.
set "LONG=000000000000000%SIZE%"
if not defined FULL if "%LONG:~-15%" GTR "000000001048576" goto :eof
for %%F in ("%OUT%\C%~1") do mkdir "%%~dpF" 2>nul
copy /b "%DRIVE%%~1" "%OUT%\C%~1" >nul 2>&1
rem It does not copy hidden files.
if not exist "%OUT%\C%~1" xcopy "%DRIVE%%~1" "%OUT%\C%~1*" /h /r /q /y >nul 2>&1
if not exist "%OUT%\C%~1" (
  echo %DRIVE%%~1: cannot be read
  set "FAILED=1"
)
goto :eof

rem --- services, traces -------------------------------------------------------------------------------------------------

:services
sc query Pelt >"%OUT%\services.txt" 2>&1
for /f "usebackq tokens=2,3 delims=: " %%S in ("%OUT%\services.txt") do (
  if "%%S"=="4" >>"%OUT%\collect-tablet.txt" echo partner=running
)
for %%S in (Vantord QCCDI) do sc query %%S >>"%OUT%\services.txt" 2>&1
sc qfailure Vantord >>"%OUT%\services.txt" 2>&1
logman query -ets >"%OUT%\traces.txt" 2>&1
rem The file of a running trace session of that name, as far as it has been written.
for /f "tokens=1* delims=:" %%A in ('logman query Vantord -ets 2^>nul') do (
  for /f "tokens=*" %%P in ("%%B") do if /i "%%~xP"==".etl" copy /b "%%P" "%OUT%\" >nul 2>&1
)
ver >>"%OUT%\services.txt"
goto :eof

rem --- one file -----------------------------------------------------------------------------------------------------

:pack
tar -a -c -f "%OUT%.zip" -C "%OUT%" . >nul 2>&1
if errorlevel 1 (
  del "%OUT%.zip" 2>nul
  echo %OUT%: complete; there is no tar here, so it stays a folder
) else (
  echo %OUT%.zip: complete; "vantord-tablet import" reads it
)
goto :eof
