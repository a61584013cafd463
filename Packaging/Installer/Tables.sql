-- What wixl cannot express. Scripts/package.sh runs these statements, one per line, on the package that wixl has made.

-- Permanent components (16): an uninstall keeps the log folder and the settings keys. 256 is a 64-bit component. Without
-- a key path, it is the folder; wixl would choose the registry key.
UPDATE `Component` SET `Attributes` = 272, `KeyPath` = '' WHERE `Component` = 'Data64'
UPDATE `Component` SET `Attributes` = 16, `KeyPath` = '' WHERE `Component` = 'Data32'

-- Owner and group: Administrators. Full access for SYSTEM and Administrators, inherited by files and keys below; nothing
-- is inherited from above. Any user can create a folder in %ProgramData% and would own it.
CREATE TABLE `MsiLockPermissionsEx` (`MsiLockPermissionsEx` CHAR(72) NOT NULL, `LockObject` CHAR(72) NOT NULL, `Table` CHAR(32) NOT NULL, `SDDLText` CHAR(0) NOT NULL, `Condition` CHAR(255) PRIMARY KEY `MsiLockPermissionsEx`)
INSERT INTO `MsiLockPermissionsEx` (`MsiLockPermissionsEx`, `LockObject`, `Table`, `SDDLText`) VALUES ('DataFolder', 'DataFolder', 'CreateFolder', 'O:BAG:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)')
INSERT INTO `MsiLockPermissionsEx` (`MsiLockPermissionsEx`, `LockObject`, `Table`, `SDDLText`) VALUES ('SettingsKey64', 'SettingsKey64', 'Registry', 'O:BAG:BAD:P(A;CI;KA;;;SY)(A;CI;KA;;;BA)')
INSERT INTO `MsiLockPermissionsEx` (`MsiLockPermissionsEx`, `LockObject`, `Table`, `SDDLText`) VALUES ('SettingsKey32', 'SettingsKey32', 'Registry', 'O:BAG:BAD:P(A;CI;KA;;;SY)(A;CI;KA;;;BA)')

-- With a user interface, the searches run in the process of the user. These properties then reach the service.
UPDATE `Property` SET `Value` = 'KUV_ARCHITECTURE;KUV_INSTALLED;KUV_NEWER;KUV_OLDER;KUV_WINDOWS' WHERE `Property` = 'SecureCustomProperties'

-- wixl moves the action to the end of the sequence and adds a bit that means nothing for it.
UPDATE `CustomAction` SET `Type` = 51 WHERE `Action` = 'SetInstallLocation'
UPDATE `InstallExecuteSequence` SET `Sequence` = 1010 WHERE `Action` = 'SetInstallLocation'
