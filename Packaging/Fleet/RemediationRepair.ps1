# Not run by the tests of this repository, which have no PowerShell. They run its commands and check its names.
#
# Remediation script for RemediationDetect.ps1. It protects the log folder and the settings keys and enables the filter,
# unless no one could sign in or no one would be asked for the second factor. See Docs/Fleet.md.
$folder = (Get-ItemProperty 'HKLM:\SOFTWARE\Kuvant\KuvCredFilter' -ErrorAction SilentlyContinue).InstallFolder
if (-not $folder) { 'The filter is not installed.'; exit 0 }
$lines = @(& "${folder}KuvFilterSetup.exe" prepare 2>&1)
$prepared = $LASTEXITCODE
$lines += & "${folder}KuvFilterSetup.exe" enable --require console,remote 2>&1
$enabled = $LASTEXITCODE
$text = $lines -join '; '
$text.Substring(0, [Math]::Min($text.Length, 2000))
if ($prepared -eq 0 -and $enabled -eq 0) { exit 0 } else { exit 1 }
