# Runs the test programs of a Visual C++ build again, each with every heap block at the end of a page and no accessible
# memory after it, like KUV_GUARDED_HEAP=1 in builds whose C runtime is a DLL. The script enables the page heap of Windows
# for each program, which requires an administrator, and disables it afterwards.
#
#   Scripts/page-heap.ps1 -Build build/msvc-x64 [-Configuration Release]
#
# NOT TESTED: see .github/workflows/windows.yml.
param(
  [Parameter(Mandatory = $true)] [string] $Build,
  [string] $Configuration = 'Release'
)
$ErrorActionPreference = 'Stop'

$options = 'HKLM:\SOFTWARE\Microsoft\Windows NT\CurrentVersion\Image File Execution Options'
# They allocate so many blocks that this would take hours.
$unguarded = 'AnomalyTests', 'SettingsStormTests'

$programs = @(Get-ChildItem -Path $Build -Recurse -Filter '*Tests.exe' |
    Where-Object { $_.Directory.Name -eq $Configuration -and $_.BaseName -notin $unguarded })
if ($programs.Count -eq 0) { throw "no test program below $Build" }

$failed = @()
foreach ($program in $programs) {
  $key = "$options\$($program.Name)"
  New-Item -Path $key -Force | Out-Null
  try {
    New-ItemProperty -Path $key -Name GlobalFlag -PropertyType DWord -Value 0x02000000 -Force | Out-Null
    New-ItemProperty -Path $key -Name PageHeapFlags -PropertyType DWord -Value 3 -Force | Out-Null
    Write-Output "page heap: $($program.BaseName)"
    & $program.FullName --gtest_brief=1
    if ($LASTEXITCODE -ne 0) { $failed += $program.BaseName }
  } finally {
    Remove-Item -Path $key -Recurse
  }
}
if ($failed.Count -ne 0) { throw "failed with the page heap: $failed" }
