# Not run by the tests of this repository, which have no PowerShell. They run its commands and check its names.
#
# Detection script for a remediation of Intune; RemediationRepair.ps1 is its remediation script. Run both as the system, in
# the 64-bit PowerShell. Exit code 1 reports that there is something to repair. See Docs/Fleet.md.
$folder = (Get-ItemProperty 'HKLM:\SOFTWARE\Kuvant\KuvCredFilter' -ErrorAction SilentlyContinue).InstallFolder
if (-not $folder) { 'The filter is not installed.'; exit 0 }
$status = & "${folder}KuvFilterSetup.exe" status --json 2>$null | Out-String | ConvertFrom-Json
$disabled = @($status.filter | Where-Object { $_.registered -and -not $_.enabled })
$open = @($status.changes) + @($status.failures)
if ($open.Count + $disabled.Count -eq 0) { 'Prepared and enabled.'; exit 0 }
"To repair: $($open.Count) folders and keys, $($disabled.Count) registry views without the filter."
exit 1
