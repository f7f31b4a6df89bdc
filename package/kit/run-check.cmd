@echo off
rem Asks this machine's Windows what only it can tell. Options go to vantord-check.exe: see README.txt.
"%~dp0vantord-check.exe" --output "%CD%" %*
set result=%ERRORLEVEL%
if "%~1"=="" pause
exit /b %result%
