' Changes one cell of a table in the AppForge format, or deletes a record, as the handheld's user
' would: the record is marked, and the next sync brings the CSV file up to date.
'
'   cscript //nologo edit.vbs Inventory.pdb KEY COLUMN VALUE
'   cscript //nologo edit.vbs Inventory.pdb KEY
'
' The key is what the first column holds.

Option Explicit

Const Dirty = 64, Deleted = 128

Dim database, definition, record, stream, index, id, category, attributes, i

If WScript.Arguments.Count <> 2 And WScript.Arguments.Count <> 4 Then
  WScript.Echo "Usage: cscript //nologo edit.vbs FILE.pdb KEY [COLUMN VALUE]"
  WScript.Quit 2
End If

Set database = CreateObject("Pylon.PDBDatabasePC")
Set definition = CreateObject("Pylon.PDBAppforgeDefinition")
Set record = CreateObject("Pylon.PDBAppforgeRecord")
Set stream = CreateObject("Pylon.PDBByteStream")
' So every byte of a text is a character, and is written as it was read: a signature, too.
stream.UTF8Strings = False

database.DatabaseFor = 4
database.PDBFilePath = WScript.Arguments(0)
If Not database.OpenDatabase() Then
  WScript.Echo WScript.Arguments(0) & " can't be opened"
  WScript.Quit 1
End If
database.ReadAppInfoBlock stream
If Not definition.IsAppforgeData(stream) Then
  WScript.Echo WScript.Arguments(0) & " holds no table"
  WScript.Quit 1
End If
Set record.AppforgeDefinition = definition

If Not FindRecord() Then
  WScript.Echo "There is no record " & WScript.Arguments(1)
  WScript.Quit 1
End If
If WScript.Arguments.Count = 2 Then
  attributes = attributes Or Deleted
Else
  record.StringValue(FieldNumber(WScript.Arguments(2))) = WScript.Arguments(3)
  Set stream = record.ByteStream
  attributes = attributes Or Dirty
End If
database.Update index, id, category, attributes, stream
database.CloseDatabase
WScript.Echo "Record " & WScript.Arguments(1) & " changed"

Function FindRecord()
  FindRecord = True
  database.IterationIndex = 1
  Do While database.ReadNext(index, id, category, attributes, stream)
    Set record.ByteStream = stream
    If record.StringValue(1) = WScript.Arguments(1) Then Exit Function
  Loop
  FindRecord = False
End Function

Function FieldNumber(name)
  For FieldNumber = 1 To definition.FieldCount
    If definition.FieldName(FieldNumber) = name Then Exit Function
  Next
  WScript.Echo "There is no column " & name
  WScript.Quit 1
End Function
