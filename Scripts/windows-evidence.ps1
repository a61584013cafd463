# Writes what the checks of Docs/FirstRunOnWindows.md ask for to one text file: versions, access lists, registrations,
# events, pending removals, and the reports of the installed programs. Changes nothing else. Run it as an administrator in
# the 64-bit Windows PowerShell.
#
#   Scripts/windows-evidence.ps1 -Output FILE [-Append]
#
# NOT RUN HERE: these sources are tested under Wine, which has no PowerShell.
param(
  [Parameter(Mandatory = $true)] [string] $Output,
  [switch] $Append
)
$ErrorActionPreference = 'Continue'

$filter = '{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}'
$views = 'HKLM:\SOFTWARE', 'HKLM:\SOFTWARE\WOW6432Node'
$list = 'Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters'

# Writes a title, and what the block returns or the reason why it failed.
function Show([string] $Title, [scriptblock] $Block) {
  "== $Title"
  try { & $Block 2>&1 | Out-String -Width 400 } catch { "failed: $_" }
}

$evidence = & {
  Show 'Time and user' { Get-Date -Format o; whoami; whoami /groups /fo csv | Select-String 'S-1-16-' }
  Show 'Windows' {
    Get-ItemProperty 'HKLM:\SOFTWARE\Microsoft\Windows NT\CurrentVersion' |
      Select-Object ProductName, DisplayVersion, CurrentBuild, UBR, InstallationType | Format-List
    (Get-ItemProperty 'HKLM:\SYSTEM\CurrentControlSet\Control\Session Manager\Environment').PROCESSOR_ARCHITECTURE
  }
  foreach ($path in "$env:ProgramData\Kuvant", "$env:ProgramData\Kuvant\kuv.log",
      ($views | ForEach-Object { "$_\Kuvant\KuvCredProv" }), 'HKLM:\SOFTWARE\Policies\Kuvant\KuvCredProv') {
    foreach ($each in $path) { Show "Security of $each" { (Get-Acl $each -ErrorAction Stop).Sddl } }
  }
  Show 'Files below ProgramData' { Get-ChildItem "$env:ProgramData\Kuvant*" -Force | Format-Table Mode, Length, FullName }
  foreach ($view in $views) {
    Show "Filters in $view" { Get-ChildItem "$view\$list" | ForEach-Object { $_.PSChildName } }
    Show "Class in $view" {
      Get-ItemProperty "$($view.Replace('WOW6432Node', 'Classes\WOW6432Node') -replace 'SOFTWARE$', 'SOFTWARE\Classes')\CLSID\$filter\InprocServer32"
    }
  }
  Show 'Installed version' { Get-ItemProperty 'HKLM:\SOFTWARE\Kuvant\KuvCredFilter' }
  Show 'Processes that loaded the filter' { tasklist /m KuvCredFilter.dll }
  Show 'Pending removals' {
    (Get-ItemProperty 'HKLM:\SYSTEM\CurrentControlSet\Control\Session Manager').PendingFileRenameOperations |
      Select-String 'Kuv'
  }
  Show 'Events' { wevtutil qe Application "/q:*[System[Provider[@Name='Kuvant']]]" /f:text /c:10 /rd:true }
  $folder = (Get-ItemProperty 'HKLM:\SOFTWARE\Kuvant\KuvCredFilter' -ErrorAction SilentlyContinue).InstallFolder
  if ($folder) {
    Show 'KuvFilterSetup status' { & "$folder\KuvFilterSetup.exe" status --json; "exit code $LASTEXITCODE" }
    Show 'KuvFilterCheck' { & "$folder\KuvFilterCheck.exe" --json; "exit code $LASTEXITCODE" }
  }
}
if ($Append) { $evidence | Out-File $Output -Append -Encoding utf8 } else { $evidence | Out-File $Output -Encoding utf8 }
