@echo off
rem Proves on this Windows what the toolkit's installer program is predicted to do. Start it as administrator, in a
rem virtual machine that can go back to its earlier state. It leaves one file: kelo_proof_report.txt.
setlocal
set "PROOF=%~dp0KeloProof.exe"
set "SAMPLE=kelo_toolkit_sample.msi"
set "FAILING=kelo_toolkit_failing.msi"

if not exist "%PROOF%" (
    echo Unpack the whole zip first: KeloProof.exe is not beside this file.
    pause
    exit /b 2
)
"%PROOF%" begin 11
if errorlevel 1 exit /b 2
"%PROOF%" tests
"%PROOF%" capture start
"%PROOF%" installer "installing the sample package" /i %SAMPLE% TPM_VSC=1
"%PROOF%" capture installed
"%PROOF%" installer "repairing it" /i %SAMPLE% REINSTALL=ALL
"%PROOF%" capture repaired
"%PROOF%" installer "removing it" /x %SAMPLE%
"%PROOF%" capture removed
"%PROOF%" installer "installing a package that fails and is rolled back" /i %FAILING% TPM_VSC=1
"%PROOF%" capture "rolled back"
"%PROOF%" clean %SAMPLE%
"%PROOF%" end
