<#
.SYNOPSIS
Gathers what Vantord reads and deploys on this tablet into one zip file, for "vantord-tablet import".

.DESCRIPTION
It only reads: registry, files, services and, other than collect-tablet.cmd, firmware variables. Run it as an administrator
with Windows PowerShell 5.1, which every Windows 10 has:

    powershell -ExecutionPolicy Bypass -File collect-tablet.ps1 -Out tablet-17

.PARAMETER Out
The folder to make; the zip file is made beside it, as Out.zip.

.PARAMETER Full
Every file with its content; without it those of up to 1 MB, and of larger ones name, size and digest only.

.PARAMETER NoIds
Without user names, security identifiers and device instances.

.PARAMETER Drive
The Windows on that drive ("D:"), which is not running; nothing on it is changed.
#>
[CmdletBinding()]
param(
    [string]$Out = 'vantord-collected',
    [switch]$Full,
    [switch]$NoIds,
    [string]$Drive = ''
)

$ErrorActionPreference = 'Stop'
$largest = 1MB
$offline = $Drive -ne ''
if (-not $offline) { $Drive = $env:SystemDrive }
$Drive = $Drive.TrimEnd('\')
if (Test-Path -LiteralPath $Out) { throw "${Out}: exists already; name another folder" }
if (-not (Test-Path -LiteralPath "$Drive\Windows\System32\config")) { throw "${Drive}: has no Windows; name the drive with -Drive X:" }

$null = New-Item -ItemType Directory -Path $Out, "$Out\registry", "$Out\C"
$Out = (Resolve-Path -LiteralPath $Out).Path
$utf8 = New-Object System.Text.UTF8Encoding $false
function Add-Text([string]$File, [string]$Line) { [IO.File]::AppendAllText("$Out\$File", "$Line`r`n", $utf8) }

Add-Text 'collect-tablet.txt' 'collect-tablet 1'
Add-Text 'collect-tablet.txt' ('mode=' + $(if ($offline) { 'offline' } else { 'running' }))
if ($NoIds) { Add-Text 'collect-tablet.txt' 'identifiers=left out' }

# --- the registry ---------------------------------------------------------------------------------------------------------

function Invoke-Reg {
    $ErrorActionPreference = 'Continue'  # what a program writes to standard error is no exception
    & "$env:SystemRoot\System32\reg.exe" @args > $null 2> $null
    return $LASTEXITCODE -eq 0
}

function Export-Key([string]$Name, [string]$Key, [switch]$Needed) {
    if (-not (Invoke-Reg query $Key)) {
        if ($Needed) { throw "${Key}: cannot be read; run this as an administrator" }
        return
    }
    if (-not (Invoke-Reg export $Key "$Out\registry\$Name.reg" /y)) { throw "${Key}: cannot be exported" }
}

function Export-Registry([string]$System, [string]$Software, [string]$Set) {
    Export-Key '20-vantord' "$System\$Set\Services\Vantord"
    Export-Key '21-pelt' "$System\$Set\Services\Pelt"
    Export-Key '22-modem-driver' "$System\$Set\Services\QCCDI"
    Export-Key '30-modem-class' "$System\$Set\Control\Class\{4d36e97d-e325-11ce-bfc1-08002be10318}"
    Export-Key '31-crash-control' "$System\$Set\Control\CrashControl"
    Export-Key '50-setup-state' "$Software\Microsoft\Windows\CurrentVersion\Setup\State"
    if ($NoIds) { return }
    Export-Key '40-modem-interfaces' "$System\$Set\Control\DeviceClasses\{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}"
    Export-Key '41-firmware-interfaces' "$System\$Set\Control\DeviceClasses\{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}"
    Export-Key '51-logon' "$Software\Microsoft\Windows\CurrentVersion\Authentication\LogonUI"
}

# Loading a hive completes it from its logs: of copies, so that the drive stays as it is.
function Export-OfflineRegistry {
    $hives = "$Out\hives"
    $null = New-Item -ItemType Directory -Path $hives
    try {
        foreach ($hive in 'SYSTEM', 'SOFTWARE') {
            Get-ChildItem -LiteralPath "$Drive\Windows\System32\config" -Filter "$hive*" -File -Force |
                ForEach-Object { [IO.File]::Copy($_.FullName, "$hives\$($_.Name)"); [IO.File]::SetAttributes("$hives\$($_.Name)", 'Normal') }
            if (-not (Invoke-Reg load "HKLM\VantordCollect$hive" "$hives\$hive")) { throw "${hive}: cannot be loaded" }
        }
        $current = (Get-ItemProperty -LiteralPath 'HKLM:\VantordCollectSYSTEM\Select').Current
        Export-Key '10-select' 'HKLM\VantordCollectSYSTEM\Select' -Needed
        Export-Registry 'HKLM\VantordCollectSYSTEM' 'HKLM\VantordCollectSOFTWARE' ('ControlSet{0:D3}' -f $current)
    } finally {
        [GC]::Collect()  # what Get-ItemProperty has open keeps a hive loaded
        $null = Invoke-Reg unload HKLM\VantordCollectSYSTEM
        $null = Invoke-Reg unload HKLM\VantordCollectSOFTWARE
        Remove-Item -LiteralPath $hives -Recurse -Force
    }
}

# --- files ----------------------------------------------------------------------------------------------------------------

function Get-Letters([IO.FileSystemInfo]$Item) {
    $letters = ''
    if ($Item.Attributes -band [IO.FileAttributes]::Directory) { $letters += 'd' }
    if ($Item.Attributes -band [IO.FileAttributes]::ReadOnly) { $letters += 'r' }
    if ($Item.Attributes -band [IO.FileAttributes]::Archive) { $letters += 'a' }
    if ($Item.Attributes -band [IO.FileAttributes]::Hidden) { $letters += 'h' }
    if ($Item.Attributes -band [IO.FileAttributes]::System) { $letters += 's' }
    return $letters
}

function Add-One([IO.FileSystemInfo]$Item) {
    $path = $Item.FullName.Substring($Drive.Length)
    $letters = Get-Letters $Item
    if ($Item.PSIsContainer) {
        Add-Text 'files.txt' "${letters}:0:-:$path"
        $null = New-Item -ItemType Directory -Force -Path "$Out\C$path"
        return
    }
    $digest = (Get-FileHash -LiteralPath $Item.FullName -Algorithm SHA256).Hash.ToLowerInvariant()
    Add-Text 'files.txt' "${letters}:$($Item.Length):${digest}:$path"
    if (-not $Full -and $Item.Length -gt $largest) { return }
    $null = New-Item -ItemType Directory -Force -Path (Split-Path -Parent "$Out\C$path")
    [IO.File]::Copy($Item.FullName, "$Out\C$path")
}

function Add-Tree([string]$Path) {
    if (-not (Test-Path -LiteralPath "$Drive$Path")) { return }
    Add-One (Get-Item -LiteralPath "$Drive$Path" -Force)
    Get-ChildItem -LiteralPath "$Drive$Path" -Recurse -Force | ForEach-Object { Add-One $_ }
}

function Add-Files {
    foreach ($path in '\Windows\System32\modem_core', '\Windows\ToastGenerator',
        '\Windows\System32\DriverState\Services\QCCDI\Data\ssr_dumps') { Add-Tree $path }
    foreach ($path in '\Windows\System32\Vantord.exe', '\Windows\System32\PeltService.exe',
        '\Windows\System32\qcdsp1v2850.mbn', '\Windows\System32\qcdsp2850.mbn', '\MfgDiag\Dlls\RILRouter.dll',
        '\Users\Public\Documents') {
        if (Test-Path -LiteralPath "$Drive$path") { Add-One (Get-Item -LiteralPath "$Drive$path" -Force) }
    }
}

# --- firmware variables ---------------------------------------------------------------------------------------------------

$native = @'
using System;
using System.Runtime.InteropServices;
public static class VantordFirmware {
    [StructLayout(LayoutKind.Sequential, Pack = 4)]
    struct Privileges { public int Count; public long Luid; public int Attributes; }
    [DllImport("kernel32.dll", CharSet = CharSet.Unicode, SetLastError = true)]
    static extern uint GetFirmwareEnvironmentVariableExW(string name, string guid, byte[] value, uint size, out uint attributes);
    [DllImport("kernel32.dll")] static extern IntPtr GetCurrentProcess();
    [DllImport("kernel32.dll")] static extern bool CloseHandle(IntPtr handle);
    [DllImport("advapi32.dll", SetLastError = true)]
    static extern bool OpenProcessToken(IntPtr process, uint access, out IntPtr token);
    [DllImport("advapi32.dll", CharSet = CharSet.Unicode, SetLastError = true)]
    static extern bool LookupPrivilegeValueW(string system, string name, out long luid);
    [DllImport("advapi32.dll", SetLastError = true)]
    static extern bool AdjustTokenPrivileges(IntPtr token, bool none, ref Privileges wanted, int size, IntPtr before, IntPtr needed);
    public static void Enable() {
        IntPtr token;
        Privileges wanted = new Privileges();
        wanted.Count = 1;
        wanted.Attributes = 2;
        if (!OpenProcessToken(GetCurrentProcess(), 0x28, out token)) return;
        if (LookupPrivilegeValueW(null, "SeSystemEnvironmentPrivilege", out wanted.Luid))
            AdjustTokenPrivileges(token, false, ref wanted, 0, IntPtr.Zero, IntPtr.Zero);
        CloseHandle(token);
    }
    // The attributes, then the data, as in a tablet's folder; null where the variable cannot be read.
    public static byte[] Read(string name, string guid) {
        byte[] value = new byte[1024];
        uint attributes;
        uint size = GetFirmwareEnvironmentVariableExW(name, guid, value, (uint)value.Length, out attributes);
        if (size == 0) return null;
        byte[] whole = new byte[4 + size];
        BitConverter.GetBytes(attributes).CopyTo(whole, 0);
        Array.Copy(value, 0, whole, 4, size);
        return whole;
    }
}
'@

function Add-Firmware {
    Add-Type -TypeDefinition $native
    [VantordFirmware]::Enable()
    $variables = @{
        'SALES_CODE' = '9806d87d-b4fb-4d02-97d2-8597337abc83'
        'ModemImageID' = 'b61eb57b-80e6-491c-afca-45ff77702391'
    }
    foreach ($name in $variables.Keys) {
        $bytes = [VantordFirmware]::Read($name, "{$($variables[$name])}")
        if ($null -eq $bytes) { continue }
        $null = New-Item -ItemType Directory -Force -Path "$Out\efi"
        [IO.File]::WriteAllBytes("$Out\efi\$name-$($variables[$name])", $bytes)
    }
}

# --- services, traces -----------------------------------------------------------------------------------------------------

function Add-Services {
    $partner = Get-Service -Name Pelt -ErrorAction SilentlyContinue
    $state = if ($null -eq $partner) { 'missing' } else { "$($partner.Status)".ToLowerInvariant() }
    Add-Text 'collect-tablet.txt' "partner=$state"
    foreach ($service in 'Vantord', 'Pelt', 'QCCDI') {
        & "$env:SystemRoot\System32\sc.exe" query $service | ForEach-Object { Add-Text 'services.txt' $_ }
    }
    & "$env:SystemRoot\System32\sc.exe" qfailure Vantord | ForEach-Object { Add-Text 'services.txt' $_ }
    & "$env:SystemRoot\System32\logman.exe" query -ets | ForEach-Object { Add-Text 'traces.txt' $_ }
    # As far as it has been written.
    $sessions = if (Get-Command Get-EtwTraceSession -ErrorAction SilentlyContinue) {
        Get-EtwTraceSession -Name 'Vantord' -ErrorAction SilentlyContinue
    }
    foreach ($session in $sessions) {
        if (-not $session.LocalFilePath -or -not (Test-Path -LiteralPath $session.LocalFilePath)) { continue }
        $from = [IO.File]::Open($session.LocalFilePath, 'Open', 'Read', 'ReadWrite')
        $to = [IO.File]::Create("$Out\$(Split-Path -Leaf $session.LocalFilePath)")
        try { $from.CopyTo($to) } finally { $from.Dispose(); $to.Dispose() }
    }
    Add-Text 'services.txt' ([Environment]::OSVersion.VersionString)
}

if ($offline) {
    Export-OfflineRegistry
} else {
    Export-Key '10-select' 'HKLM\SYSTEM\Select' -Needed
    Export-Registry 'HKLM\SYSTEM' 'HKLM\SOFTWARE' 'CurrentControlSet'
}
Add-Files
if (-not $offline) {
    Add-Services
    try { Add-Firmware } catch { Write-Warning "firmware variables cannot be read: $_" }
}
Add-Type -AssemblyName System.IO.Compression.FileSystem
[IO.Compression.ZipFile]::CreateFromDirectory($Out, "$Out.zip")
Write-Output "${Out}.zip: complete; `"vantord-tablet import`" reads it"
