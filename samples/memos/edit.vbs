' Adds a line to a memo in a PDB file, or deletes the memo, as the handheld's user would: the record
' is marked, and the next sync brings the text file up to date.
'
'   cscript //nologo edit.vbs MemoDB.pdb ID TEXT
'   cscript //nologo edit.vbs MemoDB.pdb ID

Option Explicit

Const Dirty = 64, Deleted = 128

Dim database, stream, index, category, attributes, text, offset, id

If WScript.Arguments.Count < 2 Then
  WScript.Echo "Usage: cscript //nologo edit.vbs FILE.pdb ID [TEXT]"
  WScript.Quit 2
End If

Set database = CreateObject("Pylon.PDBDatabasePC")
Set stream = CreateObject("Pylon.PDBByteStream")
stream.UTF8Strings = False

database.DatabaseFor = 4
database.PDBFilePath = WScript.Arguments(0)
id = CLng(WScript.Arguments(1))
If Not database.OpenDatabase() Then
  WScript.Echo WScript.Arguments(0) & " can't be opened"
  WScript.Quit 1
End If
If Not database.ReadNextById(index, id, category, attributes, stream) Then
  WScript.Echo "There is no record " & id
  WScript.Quit 1
End If

If WScript.Arguments.Count = 2 Then
  attributes = attributes Or Deleted
Else
  text = ""
  offset = 0
  stream.ByteToString text, offset
  offset = 0
  stream.Clear
  stream.StringToByte text & WScript.Arguments(2) & vbLf, offset
  attributes = attributes Or Dirty
End If
database.Update index, id, category, attributes, stream
database.CloseDatabase
WScript.Echo "Record " & id & " changed"
